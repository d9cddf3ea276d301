#include "command_line/command_record.h"

#include <algorithm>

#include <fmt/format.h>
#include <fmt/ranges.h>

namespace tavi::ctl {

namespace {

using name_set = std::set<std::string>;

bool is_any_given(std::vector<std::string> const& names, name_set const& given) {
  return std::any_of(names.begin(), names.end(), [&](auto const& name) { return given.contains(name); });
}

std::string find_fault_of_option(option_record const& option, name_set const& given) {
  if (!option.needed.empty() && !is_any_given(option.needed, given)) {
    return fmt::format("{} is of use with {} only", option.name, fmt::join(option.needed, " or "));
  }
  for (auto const& other : option.excluded) {
    if (given.contains(other)) {
      return fmt::format("{} and {} exclude each other", option.name, other);
    }
  }
  return {};
}

std::string find_fault_of_rule(choice_rule const& rule, name_set const& given) {
  auto const taken = std::count_if(rule.ways.begin(), rule.ways.end(),
                                   [&](auto const& way) { return is_any_given(way, given); });
  if (taken == 1) {
    return {};
  }
  return fmt::format("{}: give {}", taken == 0 ? rule.missing : "too much at once", rule.told);
}

}  // namespace

std::vector<command_record const*> commands_of(program_record const& program, std::string const& group) {
  std::vector<command_record const*> found;
  for (auto const& command : program.commands) {
    if (command.group == group) {
      found.push_back(&command);
    }
  }
  return found;
}

std::string find_fault(command_record const& command, std::set<std::string> const& given) {
  for (auto const& option : command.options) {
    if (auto fault = given.contains(option.name) ? find_fault_of_option(option, given) : ""; !fault.empty()) {
      return fault;
    }
  }
  for (auto const& rule : command.rules) {
    if (auto fault = find_fault_of_rule(rule, given); !fault.empty()) {
      return fault;
    }
  }
  return {};
}

}  // namespace tavi::ctl
