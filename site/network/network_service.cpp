#include "network/network_service.h"

#include <algorithm>
#include <charconv>
#include <string_view>
#include <utility>

namespace tavi::site::network {

namespace {

bool is_port(std::string_view text) {
  std::uint16_t port = 0;
  auto const* const end = text.data() + text.size();
  auto const [stop, error] = std::from_chars(text.data(), end, port);
  return error == std::errc() && stop == end && port != 0;
}

/// Whether `text` can stand where a URL has its host; the check is against mistakes, not a full grammar.
bool is_host(std::string_view text) {
  bool const is_bracketed = text.size() > 2 && text.front() == '[' && text.back() == ']';
  auto const name = is_bracketed ? text.substr(1, text.size() - 2) : text;
  return !name.empty() && std::all_of(name.begin(), name.end(), [&](char c) {
    bool const is_plain = (c >= '0' && c <= '9') || (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') ||
                          c == '.' || c == '-' || c == '_';
    return is_plain || (is_bracketed && c == ':');
  });
}

std::string bracketed(std::string const& address) {
  return address.find(':') == std::string::npos ? address : "[" + address + "]";
}

}  // namespace

std::optional<std::string> make_advertised_address(std::string const& advertised,
                                                   std::string const& listening, std::string const& host_name,
                                                   std::uint16_t port) {
  auto const own_port = ":" + std::to_string(port);
  if (advertised.empty()) {
    bool const is_every_address = listening == "0.0.0.0" || listening == "::";
    return (is_every_address ? host_name : bracketed(listening)) + own_port;
  }
  if (is_host(advertised)) {
    return advertised + own_port;
  }
  auto const colon = advertised.rfind(':');
  if (colon == std::string::npos || !is_host(std::string_view(advertised).substr(0, colon)) ||
      !is_port(std::string_view(advertised).substr(colon + 1))) {
    return std::nullopt;
  }
  return advertised;
}

network_service::network_service(std::string address) : config{std::move(address)} {
}

std::optional<tavi::network::network_config> network_service::on_get_network_config() {
  return config;
}

}  // namespace tavi::site::network
