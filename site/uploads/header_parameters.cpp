#include "uploads/header_parameters.h"

#include <algorithm>

#include "request_text.h"

namespace tavi::site::uploads {
namespace {

constexpr std::string_view blanks = " \t";

std::string to_lower(std::string_view text) {
  std::string lower(text);
  std::transform(lower.begin(), lower.end(), lower.begin(), [](char letter) {
    return letter >= 'A' && letter <= 'Z' ? static_cast<char>(letter - 'A' + 'a') : letter;
  });
  return lower;
}

/// Reads the text behind an opening quote and takes it off, with its closing quote. A backslash is an escape
/// only before a quote or another backslash, because some uploaders send whole paths of their own unescaped.
std::string take_quoted(std::string_view& rest) {
  std::string value;
  while (!rest.empty() && rest.front() != '"') {
    auto const is_escape = rest.front() == '\\' && rest.size() > 1 && (rest[1] == '"' || rest[1] == '\\');
    rest.remove_prefix(is_escape ? 1 : 0);
    value += rest.front();
    rest.remove_prefix(1);
  }
  rest.remove_prefix(rest.empty() ? 0 : 1);
  return value;
}

std::string take_value(std::string_view& rest) {
  rest.remove_prefix(std::min(rest.find_first_not_of(blanks), rest.size()));
  if (rest.starts_with('"')) {
    rest.remove_prefix(1);
    return take_quoted(rest);
  }
  auto const end = std::min(rest.find(';'), rest.size());
  std::string value(http::trim(rest.substr(0, end)));
  rest.remove_prefix(end);
  return value;
}

bool is_boundary_character(char letter) {
  auto const is_digit = letter >= '0' && letter <= '9';
  auto const is_letter = (letter >= 'a' && letter <= 'z') || (letter >= 'A' && letter <= 'Z');
  return is_digit || is_letter || std::string_view("'()+_,-./:=? ").find(letter) != std::string_view::npos;
}

}  // namespace

header_value parse_header_value(std::string_view text) {
  header_value result;
  auto at = std::min(text.find(';'), text.size());
  result.kind = to_lower(http::trim(text.substr(0, at)));
  auto rest = text.substr(at);
  while (!rest.empty()) {
    rest.remove_prefix(std::min(rest.find_first_not_of(" \t;"), rest.size()));
    at = std::min(rest.find_first_of("=;"), rest.size());
    auto const name = to_lower(http::trim(rest.substr(0, at)));
    rest.remove_prefix(at);
    if (!rest.starts_with('=')) {
      continue;
    }
    rest.remove_prefix(1);
    auto value = take_value(rest);
    if (!name.empty()) {
      result.parameters.emplace(name, std::move(value));
    }
    rest.remove_prefix(std::min(rest.find(';'), rest.size()));
  }
  return result;
}

std::optional<std::string> find_boundary(header_value const& content_type) {
  constexpr std::size_t longest = 70;
  auto const place = content_type.parameters.find("boundary");
  if (place == content_type.parameters.end()) {
    return std::nullopt;
  }
  auto const& boundary = place->second;
  auto const is_good = !boundary.empty() && boundary.size() <= longest && boundary.back() != ' ' &&
                       std::all_of(boundary.begin(), boundary.end(), is_boundary_character);
  return is_good ? std::optional(boundary) : std::nullopt;
}

std::optional<std::string> find_file_name(header_value const& disposition) {
  auto const& parameters = disposition.parameters;
  auto const extended = parameters.find("filename*");
  if (extended != parameters.end()) {
    // charset'language'percent-encoded name
    std::string_view const value = extended->second;
    auto const first = value.find('\'');
    auto const second = value.find('\'', first == std::string_view::npos ? first : first + 1);
    if (second != std::string_view::npos && to_lower(value.substr(0, first)) == "utf-8") {
      if (auto decoded = http::percent_decode(value.substr(second + 1))) {
        return decoded;
      }
    }
  }
  auto const plain = parameters.find("filename");
  if (plain != parameters.end()) {
    return plain->second;
  }
  return extended != parameters.end() ? std::optional<std::string>(std::string()) : std::nullopt;
}

}  // namespace tavi::site::uploads
