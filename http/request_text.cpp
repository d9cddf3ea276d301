#include "request_text.h"

#include <algorithm>
#include <charconv>

#include <fmt/format.h>

namespace tavi::http {
namespace {

std::optional<char> read_hex_byte(std::string_view digits) {
  unsigned char value = 0;
  auto const* const begin = digits.data();
  auto const* const end = begin + digits.size();
  auto const [stop, error] = std::from_chars(begin, end, value, 16);
  if (digits.size() != 2 || error != std::errc{} || stop != end) {
    return std::nullopt;
  }
  return static_cast<char>(value);
}

}  // namespace

std::string_view trim(std::string_view text, std::string_view blanks) {
  text.remove_prefix(std::min(text.find_first_not_of(blanks), text.size()));
  return text.substr(0, text.find_last_not_of(blanks) + 1);
}

std::optional<std::string> percent_decode(std::string_view text) {
  std::string decoded;
  decoded.reserve(text.size());
  while (!text.empty()) {
    if (text.front() != '%') {
      decoded += text.front();
      text.remove_prefix(1);
      continue;
    }
    auto const byte = read_hex_byte(text.substr(1, 2));
    if (!byte) {
      return std::nullopt;
    }
    decoded += *byte;
    text.remove_prefix(3);
  }
  return decoded;
}

std::string percent_encode(std::string_view text) {
  std::string encoded;
  for (auto const byte : text) {
    auto const is_letter = (byte >= 'a' && byte <= 'z') || (byte >= 'A' && byte <= 'Z');
    auto const is_digit = byte >= '0' && byte <= '9';
    auto const is_plain =
        is_letter || is_digit || std::string_view("-._~").find(byte) != std::string_view::npos;
    encoded += is_plain ? std::string(1, byte) : fmt::format("%{:02X}", static_cast<unsigned char>(byte));
  }
  return encoded;
}

std::string escape_for_log(std::string_view text, std::size_t limit) {
  std::string escaped;
  for (auto const byte : text.substr(0, limit)) {
    auto const is_plain = byte >= ' ' && byte <= '~' && byte != '\\';
    escaped += is_plain ? std::string(1, byte) : fmt::format("\\x{:02x}", static_cast<unsigned char>(byte));
  }
  return text.size() > limit ? escaped + "..." : escaped;
}

std::string shorten_token(std::string_view token) {
  constexpr std::size_t shown = 6;
  return escape_for_log(token.substr(0, shown)) + "...";
}

}  // namespace tavi::http
