#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "stations_maintenance/diagnostic_report.h"
#include "stations_maintenance/station_firmware_info.h"
#include "tavi/stations/charging_station.h"

namespace tavi::ctl {

/// "periodic" or "manual"; "unknown" for any other value.
[[nodiscard]] std::string name_of(stations_maintenance::diagnostic_report_type type);
/// The type of this name. @return empty when no type has it
[[nodiscard]] std::optional<stations_maintenance::diagnostic_report_type> find_report_type(
    std::string_view name);

/// The name of the enumerator: "available", "pending_upload", "being_processed", "without_version", "failed",
/// "none"; "unknown" for any other value.
[[nodiscard]] std::string name_of(stations_maintenance::station_firmware_status status);

/// "idle", "uploaded", "upload_failed" or "uploading"; "unknown" for any other value.
[[nodiscard]] std::string name_of(stations::station_diagnostics_status status);

/// "accepted", "rejected" or "timed_out"; "unknown" for any other value.
[[nodiscard]] std::string name_of(stations::cs_request_status status);

}  // namespace tavi::ctl
