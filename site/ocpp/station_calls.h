#pragma once

#include <chrono>
#include <optional>
#include <string>

#include <nlohmann/json_fwd.hpp>

#include "ocpp_message.h"
#include "tavi/stations/station_diagnostics_status.h"

namespace tavi::site::ocpp {

/// Checks a call of a station against OCPP 1.6.
/// @return empty when it is one that the site takes, with a valid payload; otherwise what to answer:
///         `not_implemented` for an action that OCPP 1.6 does not know, `not_supported` for one that it knows
///         but that a station does not send to a site of this kind, else as `find_violation`
[[nodiscard]] std::optional<ocpp_wire::refusal> check_station_call(std::string const& action,
                                                                   nlohmann::json const& payload);

/// The status that a DiagnosticsStatusNotification tells. @param name  one of those that OCPP 1.6 names
[[nodiscard]] tavi::stations::station_diagnostics_status to_diagnostics_status(std::string const& name);

/// The answer to a GetDiagnostics, read.
/// @return the name of the file that the station will upload; empty text when it has nothing to upload; no
///         value when the payload is none that OCPP 1.6 permits
[[nodiscard]] std::optional<std::string> read_diagnostics_file_name(nlohmann::json const& payload);

}  // namespace tavi::site::ocpp
