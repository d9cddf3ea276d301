#include "firmware_request.h"

#include <algorithm>
#include <optional>

#include <nlohmann/json.hpp>

#include "request_text.h"

namespace tavi::simulator {
namespace {

constexpr std::size_t longest_version = 50;  // characters, as OCPP has it
constexpr std::size_t longest_extension = 5;
constexpr std::size_t hash_digits = 8;

bool is_digit(char c) {
  return c >= '0' && c <= '9';
}

bool is_letter(char c) {
  return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z');
}

/// Where the extension of a name begins, with its dot. @return npos when it has none
std::size_t find_extension(std::string_view name) {
  auto const dot = name.rfind('.');
  if (dot == std::string_view::npos || dot == 0) {
    return std::string_view::npos;
  }
  auto const text = name.substr(dot + 1);
  auto const is_plain = [](char c) { return is_letter(c) || is_digit(c); };
  bool const is_extension = !text.empty() && text.size() <= longest_extension && is_letter(text.front()) &&
                            std::all_of(text.begin(), text.end(), is_plain);
  return is_extension ? dot : std::string_view::npos;
}

/// The numbers of a part such as "v2.1.0", which are two or more. @return empty when it is none
std::string_view find_numbers(std::string_view part) {
  part.remove_prefix(part.starts_with('v') || part.starts_with('V') ? 1 : 0);
  bool is_after_digit = false;
  std::size_t dots = 0;
  for (char const c : part) {
    if (!is_digit(c) && (c != '.' || !is_after_digit)) {
      return {};
    }
    is_after_digit = is_digit(c);
    dots += c == '.' ? 1 : 0;
  }
  return is_after_digit && dots > 0 ? part : std::string_view();
}

std::string_view find_version(std::string_view stem) {
  std::string_view version;
  while (!stem.empty()) {
    auto const end = std::min(stem.find_first_of("_- "), stem.size());
    auto const numbers = find_numbers(stem.substr(0, end));
    version = numbers.empty() ? version : numbers;
    stem.remove_prefix(std::min(end + 1, stem.size()));
  }
  return version;
}

std::string make_printable(std::string_view text) {
  std::string version(text.substr(0, longest_version));
  std::replace_if(
      version.begin(), version.end(), [](char c) { return c < ' ' || c > '~'; }, '_');
  return version;
}

}  // namespace

std::variant<firmware_request, ocpp_wire::refusal> parse_firmware_request(nlohmann::json const& payload) {
  firmware_request request;
  std::string date;
  if (auto const fault = read_text(payload, "location", request.location)) {
    return *fault;
  }
  if (auto const fault = read_text(payload, "retrieveDate", date)) {
    return *fault;
  }
  auto const moment = ocpp_wire::parse_date_time(date);
  if (!moment) {
    return ocpp_wire::refusal{ocpp_wire::error_code::property_constraint_violation,
                              "retrieveDate has to be a date and time"};
  }
  request.retrieve_at = *moment;
  if (auto const fault = read_retries(payload, request.retries, request.retry_interval)) {
    return *fault;
  }
  return request;
}

std::string make_firmware_version(std::string_view path, std::string_view hash) {
  auto const name = http::percent_decode(path.substr(path.rfind('/') + 1)).value_or("");
  std::string_view stem = name;
  for (auto dot = find_extension(stem); dot != std::string_view::npos; dot = find_extension(stem)) {
    stem = stem.substr(0, dot);
  }
  if (auto const version = find_version(stem); !version.empty()) {
    return make_printable(version);
  }
  return stem.size() < name.size() ? make_printable(stem) : "fw-" + std::string(hash.substr(0, hash_digits));
}

}  // namespace tavi::simulator
