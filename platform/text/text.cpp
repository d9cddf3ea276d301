#include "mura_common/text.h"

#include <algorithm>
#include <array>
#include <ctime>
#include <numeric>
#include <utility>

namespace mura_common {

namespace {

/// How many letters have to be put in, taken out, replaced, or changed with their neighbour.
std::size_t count_differences(std::string_view from, std::string_view to) {
  std::vector<std::size_t> before_last;
  std::vector<std::size_t> last(to.size() + 1);
  std::iota(last.begin(), last.end(), 0U);
  for (std::size_t row = 1; row <= from.size(); ++row) {
    std::vector<std::size_t> current(to.size() + 1, row);
    for (std::size_t column = 1; column <= to.size(); ++column) {
      auto const is_same = from[row - 1] == to[column - 1];
      current[column] =
          std::min({last[column] + 1, current[column - 1] + 1, last[column - 1] + (is_same ? 0U : 1U)});
      if (row > 1 && column > 1 && from[row - 1] == to[column - 2] && from[row - 2] == to[column - 1]) {
        current[column] = std::min(current[column], before_last[column - 2] + 1);
      }
    }
    before_last = std::exchange(last, std::move(current));
  }
  return last.back();
}

}  // namespace

bool startsWith(std::string_view text, std::string_view prefix) {
  return text.starts_with(prefix);
}

std::string toHexString(std::span<std::uint8_t const> bytes) {
  constexpr std::string_view digits = "0123456789abcdef";
  std::string text;
  text.reserve(bytes.size() * 2);
  for (auto const byte : bytes) {
    text += digits[byte >> 4U];
    text += digits[byte & 0x0FU];
  }
  return text;
}

std::string to_local_iso8601(std::int64_t seconds_since_epoch) {
  auto const moment = static_cast<std::time_t>(seconds_since_epoch);
  std::tm local{};
  if (localtime_r(&moment, &local) == nullptr) {
    return {};
  }
  std::array<char, 64> text{};
  auto const length = std::strftime(text.data(), text.size(), "%Y%m%dT%H%M%S%z", &local);
  return {text.data(), length};
}

std::string find_nearest_word(std::string_view unknown, std::vector<std::string> const& known) {
  // What is long was no slip of the fingers, and comparing costs the product of both lengths.
  constexpr std::size_t longest_word = 64;
  if (unknown.size() > longest_word) {
    return {};
  }
  std::string nearest;
  auto allowed = std::max<std::size_t>(1, unknown.size() / 3);
  for (auto const& word : known) {
    auto const differences = count_differences(unknown, word);
    if (differences < unknown.size() && differences < allowed + (nearest.empty() ? 1 : 0)) {
      nearest = word;
      allowed = differences;
    }
  }
  return nearest;
}

std::string explain_unknown_word(std::string const& unknown, std::vector<std::string> const& known) {
  auto const meant = find_nearest_word(unknown.substr(0, unknown.find('=')), known);
  return '"' + unknown + "\" is not known here" + (meant.empty() ? "" : ": did you mean \"" + meant + "\"?");
}

}  // namespace mura_common
