#include "simulation/diagnostics_request.h"

#include <fmt/chrono.h>

#include <algorithm>
#include <cstdint>
#include <nlohmann/json.hpp>
#include <optional>

namespace tavi::site::simulation {
namespace {

constexpr std::int64_t most_retries = 100;
constexpr std::int64_t longest_interval = 24 * 60 * 60;

/// Leaves `value` alone when the key is missing. @return a fault when there is something else than a count
std::optional<request_fault> read_count(nlohmann::json const& payload, char const* key, std::int64_t most,
                                        std::int64_t& value) {
  auto const found = payload.find(key);
  if (found == payload.end()) {
    return std::nullopt;
  }
  if (!found->is_number_integer()) {
    return request_fault{"TypeConstraintViolation", std::string(key) + " has to be an integer"};
  }
  if (found->is_number_unsigned()) {
    value =
        static_cast<std::int64_t>(std::min(found->get<std::uint64_t>(), static_cast<std::uint64_t>(most)));
    return std::nullopt;
  }
  if (found->get<std::int64_t>() < 0) {
    return request_fault{"PropertyConstraintViolation", std::string(key) + " has to be 0 or more"};
  }
  value = std::min(found->get<std::int64_t>(), most);
  return std::nullopt;
}

}  // namespace

std::variant<diagnostics_request, request_fault> parse_diagnostics_request(nlohmann::json const& payload) {
  diagnostics_request request;
  auto const location = payload.find("location");
  if (location == payload.end()) {
    // OCPP 1.6 spells the code with a single r.
    return request_fault{"OccurenceConstraintViolation", "location is missing"};
  }
  if (!location->is_string()) {
    return request_fault{"TypeConstraintViolation", "location has to be a text"};
  }
  request.location = location->get<std::string>();
  std::int64_t retries = request.retries;
  std::int64_t interval = request.retry_interval.count();
  if (auto const fault = read_count(payload, "retries", most_retries, retries)) {
    return *fault;
  }
  if (auto const fault = read_count(payload, "retryInterval", longest_interval, interval)) {
    return *fault;
  }
  request.retries = static_cast<unsigned int>(retries);
  request.retry_interval = std::chrono::seconds(interval);
  return request;
}

std::string make_diagnostics_file_name(std::string const& identity,
                                       std::chrono::system_clock::time_point now) {
  // To the second and without colons, fit for a file name.
  auto const time = fmt::gmtime(std::chrono::system_clock::to_time_t(now));
  return fmt::format("diagnostics_{}_{:%Y%m%dT%H%M%SZ}.tar.gz", identity, time);
}

bool is_worth_retrying(unsigned int http_status) {
  return http_status == 408 || http_status == 409 || http_status == 425 || http_status == 429 ||
         (http_status >= 500 && http_status <= 599);
}

}  // namespace tavi::site::simulation
