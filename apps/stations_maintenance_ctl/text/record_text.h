#pragma once

#include <chrono>
#include <string>
#include <vector>

#include "stations_maintenance/diagnostic_report.h"
#include "stations_maintenance/station_firmware_info.h"
#include "stations_maintenance/stations_maintenance_configuration.h"
#include "text/table.h"

namespace tavi::ctl {

/// Reports as a table. For people the time of reception is an age, for programs a moment in UTC. People are
/// told when there are none.
[[nodiscard]] std::string text_of(std::vector<stations_maintenance::diagnostic_report_info> const& reports,
                                  std::chrono::system_clock::time_point now, table_style const& style);

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
