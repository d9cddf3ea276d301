#include "config/config_nesting.h"

#include <cstddef>

namespace mura_common {
namespace {

constexpr std::size_t depth_limit = 100;
constexpr std::size_t binary_digit_limit = 62;

/// Position after the string that begins at `begin`, or the end of the text when nothing closes it.
std::size_t end_of_string(std::string_view text, std::size_t begin) {
  char const quote = text[begin];
  bool const has_escapes = quote == '"';
  bool const has_lines = text.substr(begin).starts_with(quote == '"' ? "\"\"\"" : "'''");
  std::string_view const closing = text.substr(begin, has_lines ? 3 : 1);
  for (std::size_t at = begin + closing.size(); at < text.size(); ++at) {
    if (has_escapes && text[at] == '\\') {
      ++at;
    } else if (text.substr(at).starts_with(closing)) {
      return at + closing.size();
    } else if (text[at] == '\n' && !has_lines) {
      return at;
    }
  }
  return text.size();
}

std::size_t binary_digits_at(std::string_view text, std::size_t begin) {
  std::size_t digits = 0;
  for (char const symbol : text.substr(begin)) {
    if (symbol == '0' || symbol == '1') {
      ++digits;
    } else if (symbol != '_') {
      break;
    }
  }
  return digits;
}

/// Counts what lies outside strings and comments.
class nesting_counter {
 public:
  /// Takes one character in. @return whether the limits still hold
  [[nodiscard]] bool is_within_limits_after(char symbol) {
    switch (symbol) {
      case '[':
      case '{':
        key_parts = 0;
        return ++brackets <= depth_limit;
      case ']':
      case '}':
        brackets -= brackets > 0 ? 1 : 0;
        return true;
      case '=':
      case ',':
      case '\n':
        key_parts = 0;
        return true;
      case '.':
        return ++key_parts <= depth_limit;
      default:
        return true;
    }
  }

 private:
  std::size_t brackets = 0;
  std::size_t key_parts = 0;
};

}  // namespace

bool is_safe_to_parse(std::string_view text) {
  nesting_counter counter;
  for (std::size_t at = 0; at < text.size();) {
    char const symbol = text[at];
    if (symbol == '"' || symbol == '\'') {
      at = end_of_string(text, at);
      continue;
    }
    if (symbol == '#') {
      at = text.find('\n', at);
      if (at == std::string_view::npos) {
        break;
      }
      continue;
    }
    if (!counter.is_within_limits_after(symbol) ||
        (text.substr(at).starts_with("0b") && binary_digits_at(text, at + 2) > binary_digit_limit)) {
      return false;
    }
    ++at;
  }
  return true;
}

}  // namespace mura_common
