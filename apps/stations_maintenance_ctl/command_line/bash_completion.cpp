#include <fmt/format.h>
#include <fmt/ranges.h>

#include "command_line/completion_script.h"

namespace tavi::ctl {

namespace {

constexpr char const* const bash_head = R"(# Completion of stations_maintenance_ctl for bash.

# The command's words so far, without options and their values: "reports list".
_stations_maintenance_ctl_command() {{
  local word skip=
  local -a found=()
  for word in "${{COMP_WORDS[@]:1:COMP_CWORD-1}}"; do
    # bash takes "--option=value" for three words.
    if [[ $word == = ]]; then
      skip=1
      continue
    fi
    if [[ -n $skip ]]; then
      skip=
      continue
    fi
    case $word in
      {valued}) skip=1 ;;
      -*) ;;
      {alone})
        found+=("$word")
        break
        ;;
      *)
        found+=("$word")
        [[ ${{#found[@]}} -lt 2 ]] || break
        ;;
    esac
  done
  printf '%s' "${{found[*]}}"
}}

# Offers words, and with -f files or with -d folders.
_stations_maintenance_ctl_offer() {{
  mapfile -t COMPREPLY < <(compgen -W "$1" -- "$current")
  if [[ -n $2 ]]; then
    mapfile -t -O "${{#COMPREPLY[@]}}" COMPREPLY < <(compgen "$2" -- "$current")
    compopt -o filenames 2>/dev/null
  fi
}}

_stations_maintenance_ctl() {{
  local current=${{COMP_WORDS[COMP_CWORD]}} previous=${{COMP_WORDS[COMP_CWORD - 1]}}
  local command words= paths=
  COMPREPLY=()
  if [[ $current == = ]]; then
    current=
  elif [[ $previous == = ]]; then
    previous=${{COMP_WORDS[COMP_CWORD - 2]}}
  fi
  command=$(_stations_maintenance_ctl_command)
)";

constexpr char const* const bash_tail = R"(  [[ $current != -* ]] || paths=
  _stations_maintenance_ctl_offer "$words {}" "$paths"
}}

complete -F _stations_maintenance_ctl stations_maintenance_ctl
)";

char const* bash_paths(offered_paths paths) {
  switch (paths) {
    case offered_paths::files:
      return "-f";
    case offered_paths::folders:
      return "-d";
    case offered_paths::none:
      break;
  }
  return "";
}

/// What is offered behind an option that takes a value. @param command  a pattern for the command's words
std::string bash_value_case(std::string const& command, option_record const& option) {
  return fmt::format("    {}' {}') _stations_maintenance_ctl_offer '{}' '{}' ;;\n", command, option.name,
                     fmt::join(option.offered, " "), bash_paths(option.paths));
}

std::string bash_value_cases(program_record const& program) {
  std::string text;
  for (auto const& command : program.commands) {
    for (auto const& option : command.options) {
      if (!option.is_positional() && !option.is_flag()) {
        text += bash_value_case('\'' + command.words() + '\'', option);
      }
    }
  }
  for (auto const& option : program.options) {
    text += option.is_flag() ? "" : bash_value_case("*", option);
  }
  return text;
}

std::string bash_words_case(std::string const& command, std::vector<std::string> const& words,
                            std::string const& paths = "") {
  auto const text = fmt::format("    '{}') words='{}'", command, fmt::join(words, " "));
  return text + (paths.empty() ? "" : " paths=" + paths) + " ;;\n";
}

std::vector<std::string> names_of(std::vector<command_record const*> const& commands) {
  std::vector<std::string> names;
  for (auto const* const command : commands) {
    names.push_back(command->name);
  }
  return names;
}

std::string bash_words_of(command_record const& command) {
  std::vector<std::string> names;
  std::string paths;
  for (auto const& option : command.options) {
    if (option.is_positional()) {
      paths += bash_paths(option.paths);
    } else {
      names.push_back(option.name);
    }
  }
  return bash_words_case(command.words(), names, paths);
}

std::string bash_word_cases(program_record const& program) {
  std::vector<std::string> first;
  std::string text;
  for (auto const& group : program.groups) {
    first.push_back(group.name);
    text += bash_words_case(group.name, names_of(commands_of(program, group.name)));
  }
  for (auto const& name : names_of(commands_of(program, ""))) {
    first.push_back(name);
  }
  first.push_back(program.version_option.name);
  for (auto const& command : program.commands) {
    text += bash_words_of(command);
  }
  return bash_words_case("", first) + text;
}

}  // namespace

std::string make_bash_completion(program_record const& program) {
  std::vector<std::string> valued;
  std::vector<std::string> common = {program.help_option.name};
  for (auto const& option : program.options) {
    common.push_back(option.name);
    if (!option.is_flag()) {
      valued.push_back(option.name);
    }
  }
  auto text = fmt::format(bash_head, fmt::arg("valued", fmt::join(valued, " | ")),
                          fmt::arg("alone", fmt::join(names_of(commands_of(program, "")), " | ")));
  text += "  case \"$command $previous\" in\n" + bash_value_cases(program) +
          "    *) previous= ;;\n  esac\n  [[ -z $previous ]] || return\n";
  text += "  case $command in\n" + bash_word_cases(program) + "  esac\n";
  return text + fmt::format(bash_tail, fmt::join(common, " "));
}

}  // namespace tavi::ctl
