#include "web_location.h"

#include <algorithm>
#include <charconv>
#include <cstdint>

namespace tavi::simulator {
namespace {

bool is_alphanumeric(char c) {
  return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9');
}

bool is_path_character(char c) {
  // Nothing that could end the request line, and nothing after which a path is no path any more.
  return c > ' ' && c < 0x7f && std::string_view("?#\"<>\\^`{|}").find(c) == std::string_view::npos;
}

bool is_host_character(char c) {
  return is_alphanumeric(c) || c == '.' || c == '-' || c == '_';
}

bool is_address_character(char c) {
  return (c >= '0' && c <= '9') || (c >= 'a' && c <= 'f') || (c >= 'A' && c <= 'F') || c == ':' || c == '.';
}

template <typename Predicate>
bool is_all(std::string_view text, Predicate predicate) {
  return !text.empty() && std::all_of(text.begin(), text.end(), predicate);
}

bool is_port(std::string_view text) {
  std::uint16_t port = 0;
  auto const [end, error] = std::from_chars(text.data(), text.data() + text.size(), port);
  return error == std::errc() && end == text.data() + text.size() && port != 0;
}

/// Splits "host", "host:port", "[address]" or "[address]:port".
bool split_authority(std::string_view authority, web_location& location) {
  std::string_view port;
  if (authority.starts_with('[')) {
    auto const end = authority.find(']');
    if (end == std::string_view::npos || !is_all(authority.substr(1, end - 1), is_address_character)) {
      return false;
    }
    location.host = authority.substr(1, end - 1);
    port = authority.substr(end + 1);
  } else {
    auto const colon = authority.find(':');
    location.host = authority.substr(0, colon);
    port = colon == std::string_view::npos ? std::string_view() : authority.substr(colon);
    if (!is_all(location.host, is_host_character)) {
      return false;
    }
  }
  if (port.empty()) {
    location.port = "80";
    return true;
  }
  location.port = port.substr(1);
  return port.front() == ':' && is_port(location.port);
}

}  // namespace

std::optional<web_location> parse_web_location(std::string_view text, std::string_view scheme) {
  auto const beginning = std::string(scheme) + "://";
  if (!text.starts_with(beginning)) {
    return std::nullopt;
  }
  auto const rest = text.substr(beginning.size());
  auto const slash = rest.find('/');
  web_location location;
  if (!split_authority(rest.substr(0, slash), location)) {
    return std::nullopt;
  }
  location.path = slash == std::string_view::npos ? "/" : std::string(rest.substr(slash));
  if (!is_all(location.path, is_path_character)) {
    return std::nullopt;
  }
  return location;
}

std::string encode_path_segment(std::string_view text) {
  static constexpr std::string_view digits = "0123456789ABCDEF";
  std::string encoded;
  for (char const c : text) {
    if (is_alphanumeric(c) || std::string_view("-._~").find(c) != std::string_view::npos) {
      encoded += c;
    } else {
      auto const byte = static_cast<unsigned char>(c);
      encoded += '%';
      encoded += digits[byte >> 4U];
      encoded += digits[byte & 15U];
    }
  }
  return encoded;
}

std::string append_segment(std::string_view path, std::string_view name) {
  std::string joined(path);
  if (!joined.ends_with('/')) {
    joined += '/';
  }
  return joined + encode_path_segment(name);
}

std::string host_field(web_location const& location) {
  auto const is_ipv6 = location.host.find(':') != std::string::npos;
  auto const host = is_ipv6 ? "[" + location.host + "]" : location.host;
  return location.port == "80" ? host : host + ":" + location.port;
}

}  // namespace tavi::simulator
