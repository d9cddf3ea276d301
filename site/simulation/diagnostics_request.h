#pragma once

#include <chrono>
#include <nlohmann/json_fwd.hpp>
#include <string>
#include <variant>

namespace tavi::site::simulation {

/// What a GetDiagnostics call asks for.
struct diagnostics_request {
  std::string location;                    ///< where to upload to, not checked yet
  unsigned int retries = 1;                ///< further tries after a failed first one, 0 to 100
  std::chrono::seconds retry_interval{2};  ///< between two tries, 0 to one day
};

/// Why a call cannot be carried out, as a CALLERROR says it.
struct request_fault {
  std::string code;         ///< an error code of OCPP-J
  std::string description;  ///< which field, and what was expected
};

/// Reads the payload of GetDiagnostics. Pure.
/// @param payload  an object
/// @return the request, with retries and interval cut to their ranges; a fault when `location` is missing or
/// no text, or when a number is none or negative
[[nodiscard]] std::variant<diagnostics_request, request_fault> parse_diagnostics_request(
    nlohmann::json const& payload);

/// The archive's name: "diagnostics_<identity>_<UTC time>.tar.gz", the time as 20261120T140509Z.
[[nodiscard]] std::string make_diagnostics_file_name(std::string const& identity,
                                                     std::chrono::system_clock::time_point now);

/// Whether another try may end differently: true for status 408, 409, 425, 429 and 500 to 599, which speak of
/// a moment; false for every other refusal, which speaks of the location.
[[nodiscard]] bool is_worth_retrying(unsigned int http_status);

}  // namespace tavi::site::simulation
