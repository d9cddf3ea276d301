#include <fmt/format.h>
#include <fmt/ranges.h>

#include "command_line/completion_script.h"

namespace tavi::ctl {

namespace {

/// A text inside single quotes, where these letters would act.
std::string zsh_text(std::string const& text, std::string_view acting) {
  std::string escaped;
  for (auto const letter : text) {
    escaped += letter == '\'' ? "'\\'" : acting.find(letter) != std::string_view::npos ? "\\" : "";
    escaped += letter;
  }
  return escaped;
}

std::string zsh_action(option_record const& option) {
  switch (option.paths) {
    case offered_paths::files:
      return "_files";
    case offered_paths::folders:
      return "_files -/";
    case offered_paths::none:
      break;
  }
  return option.offered.empty() ? " " : fmt::format("({})", fmt::join(option.offered, " "));
}

std::string zsh_option(option_record const& option) {
  auto const value = option.is_flag() ? "" : zsh_text(option.value, ":") + ':' + zsh_action(option);
  if (option.is_positional()) {
    return fmt::format("'{}:{}'", option.is_repeated ? "*" : "", value);
  }
  return fmt::format("'{}{}{}[{}]{}'", option.is_repeated ? "*" : "", option.name,
                     option.is_flag() ? "" : "=", zsh_text(option.description, "[]"),
                     option.is_flag() ? "" : ':' + value);
}

/// The options of one command, on lines of their own.
std::string zsh_arguments(std::vector<option_record> const& options, std::string const& indentation) {
  std::string text;
  for (auto const& option : options) {
    text += " \\\n" + indentation + zsh_option(option);
  }
  return text;
}

std::string zsh_name(std::string const& name, std::string const& summary) {
  return fmt::format("    '{}:{}'\n", name, zsh_text(summary, ":"));
}

/// The function that completes what stands behind the name of a group.
std::string zsh_group(program_record const& program, std::string const& group) {
  auto text = fmt::format("_stations_maintenance_ctl_{}() {{\n  local -a names=(\n", group);
  for (auto const* const command : commands_of(program, group)) {
    text += zsh_name(command->name, command->summary);
  }
  text +=
      "  )\n"
      "  _arguments -C $common '1: :->name' '*:: :->rest'\n"
      "  case $state in\n"
      "    name) _describe command names ;;\n"
      "    rest)\n"
      "      case $words[1] in\n";
  for (auto const* const command : commands_of(program, group)) {
    text += fmt::format("        {})\n          _arguments $common{}\n          ;;\n", command->name,
                        zsh_arguments(command->options, "            "));
  }
  return text + "      esac\n      ;;\n  esac\n}\n\n";
}

std::string zsh_common(program_record const& program) {
  auto text = fmt::format("    '(- *)'{{-h,{}}}'[{}]'\n", program.help_option.name,
                          zsh_text(program.help_option.description, "[]"));
  for (auto const& option : program.options) {
    text += "    " + zsh_option(option) + '\n';
  }
  return text;
}

std::string zsh_rest(program_record const& program) {
  std::string text;
  for (auto const& group : program.groups) {
    text += fmt::format("        {0}) _stations_maintenance_ctl_{0} ;;\n", group.name);
  }
  for (auto const* const command : commands_of(program, "")) {
    text += fmt::format("        {})\n          _arguments $common{}\n          ;;\n", command->name,
                        zsh_arguments(command->options, "            "));
  }
  return text;
}

}  // namespace

std::string make_zsh_completion(program_record const& program) {
  std::string text =
      "#compdef stations_maintenance_ctl\n\n# Completion of stations_maintenance_ctl for zsh.\n\n";
  for (auto const& group : program.groups) {
    text += zsh_group(program, group.name);
  }
  text += "_stations_maintenance_ctl() {\n  local curcontext=$curcontext state line\n  local -a common=(\n" +
          zsh_common(program) + "  )\n  local -a names=(\n";
  for (auto const& group : program.groups) {
    text += zsh_name(group.name, group.summary);
  }
  for (auto const* const command : commands_of(program, "")) {
    text += zsh_name(command->name, command->summary);
  }
  return text + "  )\n" +
         fmt::format("  _arguments -C $common '(- *){}[{}]' '1: :->name' '*:: :->rest'\n",
                     program.version_option.name, zsh_text(program.version_option.description, "[]'")) +
         "  case $state in\n    name) _describe command names ;;\n    rest)\n      case $words[1] in\n" +
         zsh_rest(program) + "      esac\n      ;;\n  esac\n}\n\n_stations_maintenance_ctl \"$@\"\n";
}

}  // namespace tavi::ctl
