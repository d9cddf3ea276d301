#include "diagnostics_request.h"

#include <fmt/chrono.h>
#include <nlohmann/json.hpp>

namespace tavi::simulator {
std::variant<diagnostics_request, ocpp_wire::refusal> parse_diagnostics_request(
    nlohmann::json const& payload) {
  diagnostics_request request;
  if (auto const fault = read_text(payload, "location", request.location)) {
    return *fault;
  }
  if (auto const fault = read_retries(payload, request.retries, request.retry_interval)) {
    return *fault;
  }
  return request;
}

std::string make_diagnostics_file_name(std::string const& identity,
                                       std::chrono::system_clock::time_point now) {
  // To the second and without colons, fit for a file name.
  auto const time = fmt::gmtime(std::chrono::system_clock::to_time_t(now));
  return fmt::format("diagnostics_{}_{:%Y%m%dT%H%M%SZ}.tar.gz", identity, time);
}

}  // namespace tavi::simulator
