#pragma once

#include <chrono>
#include <string>
#include <variant>

#include <nlohmann/json_fwd.hpp>

#include "request_fields.h"

namespace tavi::simulator {

/// What a GetDiagnostics call asks for.
struct diagnostics_request {
  std::string location;                    ///< where to upload to, not checked yet
  unsigned int retries = 1;                ///< further tries after a failed first one, 0 to 100
  std::chrono::seconds retry_interval{2};  ///< between two tries, 0 to one day
};

/// Reads the payload of GetDiagnostics. Pure.
/// @param payload  an object
/// @return the request, with retries and interval cut to their ranges; a fault when `location` is missing or
/// no text, or when a number is none or negative
[[nodiscard]] std::variant<diagnostics_request, ocpp_wire::refusal> parse_diagnostics_request(
    nlohmann::json const& payload);

/// The archive's name: "diagnostics_<identity>_<UTC time>.tar.gz", the time as 20261120T140509Z.
[[nodiscard]] std::string make_diagnostics_file_name(std::string const& identity,
                                                     std::chrono::system_clock::time_point now);

}  // namespace tavi::simulator
