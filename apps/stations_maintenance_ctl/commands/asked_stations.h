#pragma once

#include <cstdint>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "stations_maintenance/diagnostic_report.h"
#include "stations_maintenance/result_codes.h"
#include "text/record_json.h"
#include "text/table.h"

namespace tavi::ctl {

/// What came of asking a station for a report. Begins as one of the first four; `accepted` becomes one of the
/// last three when the report is waited for, and `upload_failed` may still become `filed`.
enum class asking_outcome {
  accepted,
  unknown_station,
  not_connected,
  failed,
  filed,
  not_filed,
  upload_failed
};

/// One station that was asked for a report.
struct asked_station {
  std::uint32_t station_id = 0;                       ///< the station
  asking_outcome outcome = asking_outcome::accepted;  ///< how far it has come
  unsigned int request = 0;                           ///< number of the request to the station, once accepted
  std::optional<stations_maintenance::diagnostic_report_info> report = {};  ///< once filed
  std::string reason =
      {};  ///< why it failed, as the end of a sentence; empty without an answer, and otherwise
};

/// Whether its report may still come.
[[nodiscard]] bool is_waiting(asked_station const& asked);

/// The outcome that the service's answer stands for.
[[nodiscard]] asking_outcome outcome_of(stations_maintenance::generation_result answer);

/// Why a station gives no report, and what to do, in one line. @return empty for one that does or may yet,
/// and without an answer, which is told when it does not come
[[nodiscard]] std::string explain(asked_station const& asked);

/// Gives every station that is waited for its report, if there is one by now.
/// @param reports  all there are
/// @param known    ids of those there were before; those given to a station are added
/// @param type     that was asked for
void take_reports(std::vector<asked_station>& asked,
                  std::vector<stations_maintenance::diagnostic_report_info> const& reports,
                  std::set<std::uint32_t>& known, stations_maintenance::diagnostic_report_type type);

/// Station, outcome by name, number of the request and the report's record, both null as long as there is
/// none.
[[nodiscard]] json json_of(asked_station const& asked);
/// A line for each station.
[[nodiscard]] std::string text_of(std::vector<asked_station> const& asked, table_style const& style);

}  // namespace tavi::ctl
