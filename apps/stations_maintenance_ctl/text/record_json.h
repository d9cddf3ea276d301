#pragma once

#include <string>
#include <vector>

#include <nlohmann/json.hpp>

#include "stations_maintenance/diagnostic_report.h"
#include "stations_maintenance/station_firmware_info.h"
#include "stations_maintenance/stations_maintenance_configuration.h"

namespace tavi::ctl {

/// Objects keep the order in which their fields are written.
using json = nlohmann::ordered_json;

/// A record as a JSON object whose fields are named as the record's are; enumerations by their names,
/// durations in seconds.
[[nodiscard]] json json_of(stations_maintenance::diagnostic_report_info const& report);
/// As for a report.
[[nodiscard]] json json_of(stations_maintenance::station_firmware_info const& firmware);
/// As for a report.
[[nodiscard]] json json_of(stations_maintenance::stations_maintenance_configuration const& configuration);

/// Each record of the list, as an array.
template <typename Record>
[[nodiscard]] json json_of(std::vector<Record> const& records) {
  auto array = json::array();
  for (auto const& record : records) {
    array.push_back(json_of(record));
  }
  return array;
}

/// The document as text with a line end: indented, or on one line. In ASCII, so that no name can act on a
/// terminal; what is not UTF-8 becomes U+FFFD.
[[nodiscard]] std::string json_text(json const& document, bool is_on_one_line = false);

}  // namespace tavi::ctl
