#include <fmt/format.h>
#include <fmt/ranges.h>

#include "command_line/completion_script.h"

namespace tavi::ctl {

namespace {

constexpr char const* const fish_head = R"(# Completion of stations_maintenance_ctl for fish.

# Whether the command's words so far, without options and their values, are these.
function __stations_maintenance_ctl_is
    set -l found
    set -l is_value 0
    for word in (commandline -opc)[2..-1]
        if test $is_value = 1
            set is_value 0
            continue
        end
        switch $word
            case {valued}
                set is_value 1
            case '-*'
            case {alone}
                set -a found $word
                break
            case '*'
                set -a found $word
                if test (count $found) -ge 2
                    break
                end
        end
    end
    test "$found" = "$argv"
end

complete -c stations_maintenance_ctl -f
)";

std::string fish_text(std::string const& text) {
  std::string escaped = "'";
  for (auto const letter : text) {
    escaped += letter == '\'' || letter == '\\' ? "\\" : "";
    escaped += letter;
  }
  return escaped + '\'';
}

/// @param command  words that must stand before; null where it does not matter
std::string fish_line(std::string const* command, std::string const& rest) {
  auto const condition =
      command == nullptr ? "" : " -n " + fish_text("__stations_maintenance_ctl_is " + *command);
  return "complete -c stations_maintenance_ctl" + condition + ' ' + rest + '\n';
}

std::string fish_name(std::string const& before, std::string const& name, std::string const& summary) {
  return fish_line(&before, fmt::format("-a {} -d {}", name, fish_text(summary)));
}

std::string fish_value(option_record const& option) {
  switch (option.paths) {
    case offered_paths::files:
      return " -r -F";
    case offered_paths::folders:
      return " -x -a '(__fish_complete_directories)'";
    case offered_paths::none:
      break;
  }
  return option.is_flag() ? "" : fmt::format(" -x -a '{}'", fmt::join(option.offered, " "));
}

std::string fish_option(std::string const* command, option_record const& option) {
  if (option.is_positional()) {
    return option.paths == offered_paths::none ? "" : fish_line(command, "-F");
  }
  return fish_line(command, fmt::format("-l {}{} -d {}", option.name.substr(2), fish_value(option),
                                        fish_text(option.description)));
}

std::string fish_names(program_record const& program) {
  std::string text;
  for (auto const& group : program.groups) {
    text += fish_name("", group.name, group.summary);
  }
  for (auto const& command : program.commands) {
    text += fish_name(command.group, command.name, command.summary);
  }
  return text;
}

}  // namespace

std::string make_fish_completion(program_record const& program) {
  std::vector<std::string> valued;
  for (auto const& option : program.options) {
    if (!option.is_flag()) {
      valued.push_back(option.name);
    }
  }
  std::vector<std::string> alone;
  for (auto const* const command : commands_of(program, "")) {
    alone.push_back(command->name);
  }
  auto text = fmt::format(fish_head, fmt::arg("valued", fmt::join(valued, " ")),
                          fmt::arg("alone", fmt::join(alone, " ")));
  text += fish_names(program);
  text += fish_line(nullptr, fmt::format("-s h -l {} -d {}", program.help_option.name.substr(2),
                                         fish_text(program.help_option.description)));
  std::string const nothing;
  text += fish_line(&nothing, fmt::format("-l {} -d {}", program.version_option.name.substr(2),
                                          fish_text(program.version_option.description)));
  for (auto const& option : program.options) {
    text += fish_option(nullptr, option);
  }
  for (auto const& command : program.commands) {
    auto const words = command.words();
    for (auto const& option : command.options) {
      text += fish_option(&words, option);
    }
  }
  return text;
}

}  // namespace tavi::ctl
