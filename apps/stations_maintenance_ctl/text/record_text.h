#pragma once

#include <chrono>
#include <optional>
#include <string>
#include <vector>

#include "stations_maintenance/diagnostic_report.h"
#include "stations_maintenance/station_firmware_info.h"
#include "stations_maintenance/stations_maintenance_configuration.h"
#include "text/table.h"

namespace tavi::ctl {

/// How a moment is told: how long ago it was, or by the clock of this machine's time zone or of UTC.
enum class time_form { age, local, utc };

/// Reports as a table; people are told when there are none.
/// @param form  of the time of reception; when absent an age for people and a moment in UTC for programs
[[nodiscard]] std::string text_of(std::vector<stations_maintenance::diagnostic_report_info> const& reports,
                                  std::chrono::system_clock::time_point now, std::optional<time_form> form,
                                  table_style const& style);

/// Firmware as a table; people are told when there is none.
[[nodiscard]] std::string text_of(std::vector<stations_maintenance::station_firmware_info> const& firmwares,
                                  table_style const& style);

/// Everything about one firmware, a line for each field.
[[nodiscard]] std::string text_of(stations_maintenance::station_firmware_info const& firmware,
                                  table_style const& style);

/// The configuration, a line for each value.
[[nodiscard]] std::string text_of(
    stations_maintenance::stations_maintenance_configuration const& configuration, table_style const& style);

}  // namespace tavi::ctl
