#include "request_fields.h"

#include <algorithm>
#include <cstdint>

#include <nlohmann/json.hpp>

namespace tavi::simulator {
namespace {

constexpr std::int64_t most_retries = 100;
constexpr std::int64_t longest_interval = 24 * 60 * 60;

/// Leaves `value` alone when the key is missing. @return a fault when there is something else than a count
std::optional<ocpp_wire::refusal> read_count(nlohmann::json const& payload, char const* key,
                                             std::int64_t most, std::int64_t& value) {
  auto const found = payload.find(key);
  if (found == payload.end()) {
    return std::nullopt;
  }
  if (!found->is_number_integer()) {
    return ocpp_wire::refusal{ocpp_wire::error_code::type_constraint_violation,
                              std::string(key) + " has to be an integer"};
  }
  if (found->is_number_unsigned()) {
    value =
        static_cast<std::int64_t>(std::min(found->get<std::uint64_t>(), static_cast<std::uint64_t>(most)));
    return std::nullopt;
  }
  if (found->get<std::int64_t>() < 0) {
    return ocpp_wire::refusal{ocpp_wire::error_code::property_constraint_violation,
                              std::string(key) + " has to be 0 or more"};
  }
  value = std::min(found->get<std::int64_t>(), most);
  return std::nullopt;
}

}  // namespace

std::optional<ocpp_wire::refusal> read_text(nlohmann::json const& payload, char const* key,
                                            std::string& value) {
  auto const found = payload.find(key);
  if (found == payload.end()) {
    return ocpp_wire::refusal{ocpp_wire::error_code::occurence_constraint_violation,
                              std::string(key) + " is missing"};
  }
  if (!found->is_string()) {
    return ocpp_wire::refusal{ocpp_wire::error_code::type_constraint_violation,
                              std::string(key) + " has to be a text"};
  }
  value = found->get<std::string>();
  return std::nullopt;
}

std::optional<ocpp_wire::refusal> read_retries(nlohmann::json const& payload, unsigned int& retries,
                                               std::chrono::seconds& interval) {
  std::int64_t count = retries;
  std::int64_t seconds = interval.count();
  if (auto const fault = read_count(payload, "retries", most_retries, count)) {
    return fault;
  }
  if (auto const fault = read_count(payload, "retryInterval", longest_interval, seconds)) {
    return fault;
  }
  retries = static_cast<unsigned int>(count);
  interval = std::chrono::seconds(seconds);
  return std::nullopt;
}

bool is_worth_retrying(unsigned int http_status) {
  return http_status == 408 || http_status == 409 || http_status == 425 || http_status == 429 ||
         (http_status >= 500 && http_status <= 599);
}

}  // namespace tavi::simulator
