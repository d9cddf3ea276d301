#pragma once

#include <functional>
#include <sstream>
#include <string>
#include <type_traits>
#include <utility>
#include <variant>
#include <vector>

#include "command_line/command_record.h"
#include "command_line/option_values.h"

namespace tavi::ctl {

/// The words of a text between which blanks stand.
[[nodiscard]] inline std::vector<std::string> split_words(std::string const& text) {
  std::istringstream stream(text);
  std::vector<std::string> words;
  for (std::string word; stream >> word;) {
    words.push_back(word);
  }
  return words;
}

/// The part of what the program was started with that holds these options.
template <typename Options>
[[nodiscard]] Options& part_of(invocation& invoked) {
  if constexpr (std::is_same_v<Options, invocation>) {
    return invoked;
  } else {
    return std::get<Options>(invoked.command);
  }
}

template <typename T>
inline constexpr bool is_list = false;
template <typename T>
inline constexpr bool is_list<std::vector<T>> = true;

/// An option with a value; one whose place is a list may be repeated.
/// @tparam Options  to which the value belongs
/// @param place  the member of the options that takes the value, or a function that gives it
template <typename Options, typename T, typename Place>
[[nodiscard]] option_record make_option(std::string name, value_kind<T> const& kind, Place place,
                                        std::string description) {
  using member = std::remove_reference_t<std::invoke_result_t<Place, Options&>>;
  option_record made{std::move(name), kind.name, std::move(description)};
  made.expected = kind.expected;
  made.offered = split_words(kind.offered);
  made.paths = kind.paths;
  made.is_repeated = is_list<member>;
  made.take = [parse = kind.parse, place](invocation& invoked, std::string const& text) {
    auto read = parse(text);
    if (!read) {
      return false;
    }
    auto& target = std::invoke(place, part_of<Options>(invoked));
    if constexpr (is_list<member>) {
      target.push_back(std::move(*read));
    } else {
      target = std::move(*read);
    }
    return true;
  };
  return made;
}

/// As `make_option`, of an option without which the command cannot do anything.
template <typename Options, typename T, typename Place>
[[nodiscard]] option_record make_required(std::string name, value_kind<T> const& kind, Place place,
                                          std::string description) {
  auto made = make_option<Options>(std::move(name), kind, place, std::move(description));
  made.is_required = true;
  return made;
}

/// An option without a value.
/// @param place  becomes true when the option is given
template <typename Options, typename Place>
[[nodiscard]] option_record make_flag(std::string name, Place place, std::string description) {
  option_record made{std::move(name), "", std::move(description)};
  made.take = [place](invocation& invoked, std::string const&) {
    std::invoke(place, part_of<Options>(invoked)) = true;
    return true;
  };
  return made;
}

/// A command with neither options nor rules.
/// @tparam Options  what it is carried out with
template <typename Options>
[[nodiscard]] command_record make_command(std::string group, std::string name, std::string summary) {
  command_record made{std::move(group), std::move(name), std::move(summary)};
  made.begin = [](invocation& invoked) { invoked.command.emplace<Options>(); };
  return made;
}

}  // namespace tavi::ctl
