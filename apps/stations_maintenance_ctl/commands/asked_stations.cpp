#include "commands/asked_stations.h"

#include <algorithm>
#include <array>

#include <fmt/format.h>

#include "text/quantity_text.h"

namespace tavi::ctl {

namespace {

using stations_maintenance::diagnostic_report_info;
using stations_maintenance::diagnostic_report_type;

std::string name_of(asking_outcome outcome) {
  constexpr std::array<char const*, 7> names = {"accepted", "unknown_station", "not_connected", "failed",
                                                "filed",    "not_filed",       "upload_failed"};
  return names.at(static_cast<std::size_t>(outcome));
}

bool has_accepted(asked_station const& asked) {
  return asked.outcome == asking_outcome::accepted || asked.outcome == asking_outcome::filed ||
         asked.outcome == asking_outcome::not_filed || asked.outcome == asking_outcome::upload_failed;
}

}  // namespace

bool is_waiting(asked_station const& asked) {
  return asked.outcome == asking_outcome::accepted || asked.outcome == asking_outcome::upload_failed;
}

asking_outcome outcome_of(stations_maintenance::generation_result answer) {
  using stations_maintenance::generation_result;
  switch (answer) {
    case generation_result::accepted:
      return asking_outcome::accepted;
    case generation_result::unknown_station:
      return asking_outcome::unknown_station;
    case generation_result::not_connected:
      return asking_outcome::not_connected;
    case generation_result::failed:
      break;
  }
  return asking_outcome::failed;
}

std::string explain(asked_station const& asked) {
  switch (asked.outcome) {
    case asking_outcome::unknown_station:
      return fmt::format("station {} is not known to the site", asked.station_id);
    case asking_outcome::not_connected:
      return fmt::format("station {} is not connected: try again when it is online", asked.station_id);
    case asking_outcome::failed:
      return asked.reason.empty()
                 ? std::string()
                 : fmt::format("station {} gives no report: {}", asked.station_id, asked.reason);
    case asking_outcome::not_filed:
      return fmt::format("station {} accepted, but its report has not been filed in time; it may still come",
                         asked.station_id);
    case asking_outcome::upload_failed:
      return fmt::format("station {} accepted, but says that its upload has failed: it may try again",
                         asked.station_id);
    case asking_outcome::accepted:
    case asking_outcome::filed:
      break;
  }
  return {};
}

void take_reports(std::vector<asked_station>& asked, std::vector<diagnostic_report_info> const& reports,
                  std::set<std::uint32_t>& known, diagnostic_report_type type) {
  for (auto& station : asked) {
    auto const filed =
        std::find_if(reports.begin(), reports.end(), [&](diagnostic_report_info const& report) {
          return report.station_id == station.station_id && report.type == type &&
                 !known.contains(report.diagnostic_id);
        });
    if (is_waiting(station) && filed != reports.end()) {
      station.outcome = asking_outcome::filed;
      station.report = *filed;
      known.insert(filed->diagnostic_id);
    }
  }
}

json json_of(asked_station const& asked) {
  return {{"station_id", asked.station_id},
          {"outcome", name_of(asked.outcome)},
          {"request", has_accepted(asked) ? json(asked.request) : json(nullptr)},
          {"report", asked.report ? json_of(*asked.report) : json(nullptr)}};
}

std::string text_of(std::vector<asked_station> const& asked, table_style const& style) {
  table lines(
      {{"STATION", true}, {"OUTCOME"}, {"REQUEST", true}, {"REPORT", true}, {"SIZE", true}, {"NAME"}});
  for (auto const& station : asked) {
    auto const& report = station.report;
    lines.add({std::to_string(station.station_id), name_of(station.outcome),
               has_accepted(station) ? std::to_string(station.request) : "",
               report ? std::to_string(report->diagnostic_id) : "",
               report ? table_cell(format_size(report->size), std::to_string(report->size)) : table_cell(""),
               report ? report->diagnostic_name : ""});
  }
  return lines.text(style);
}

}  // namespace tavi::ctl
