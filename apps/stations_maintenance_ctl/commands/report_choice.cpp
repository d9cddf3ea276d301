#include "commands/report_choice.h"

#include <algorithm>
#include <set>
#include <unordered_map>

namespace tavi::ctl {

namespace {

/// `<` of two reports by the field of this order.
bool is_before(diagnostic_report_info const& left, diagnostic_report_info const& right, report_order order) {
  switch (order) {
    case report_order::station:
      return left.station_id < right.station_id;
    case report_order::name:
      return left.diagnostic_name < right.diagnostic_name;
    case report_order::time:
      return left.timestamp_creation < right.timestamp_creation;
    case report_order::type:
      return left.type < right.type;
    case report_order::size:
      return left.size < right.size;
    case report_order::id:
      break;
  }
  return left.diagnostic_id < right.diagnostic_id;
}

}  // namespace

std::chrono::seconds age_of(diagnostic_report_info const& report, std::chrono::system_clock::time_point now) {
  auto const seconds = std::chrono::floor<std::chrono::seconds>(now.time_since_epoch());
  return seconds - std::chrono::seconds(report.timestamp_creation);
}

bool is_chosen(diagnostic_report_info const& report, report_choice const& choice,
               std::chrono::system_clock::time_point now) {
  auto const& stations = choice.stations;
  auto const age = age_of(report, now);
  return (stations.empty() ||
          std::find(stations.begin(), stations.end(), report.station_id) != stations.end()) &&
         (!choice.type || report.type == *choice.type) && (!choice.older || age >= *choice.older) &&
         (!choice.newer || age <= *choice.newer) && (!choice.larger || report.size >= *choice.larger);
}

std::vector<diagnostic_report_info> choose_reports(std::vector<diagnostic_report_info> reports,
                                                   report_choice const& choice,
                                                   std::chrono::system_clock::time_point now) {
  std::erase_if(reports,
                [&](diagnostic_report_info const& report) { return !is_chosen(report, choice, now); });
  return reports;
}

report_selection select_reports(std::vector<diagnostic_report_info> const& reports,
                                std::vector<std::uint32_t> const& ids) {
  std::unordered_map<std::uint32_t, diagnostic_report_info const*> by_id;
  for (auto const& report : reports) {
    by_id.emplace(report.diagnostic_id, &report);
  }
  report_selection selection;
  std::set<std::uint32_t> seen;
  for (auto const id : ids) {
    if (!seen.insert(id).second) {
      continue;
    }
    if (auto const found = by_id.find(id); found != by_id.end()) {
      selection.found.push_back(*found->second);
    } else {
      selection.unknown.push_back(id);
    }
  }
  return selection;
}

void sort_reports(std::vector<diagnostic_report_info>& reports, report_order order, bool is_descending) {
  std::sort(reports.begin(), reports.end(),
            [&](diagnostic_report_info const& one, diagnostic_report_info const& two) {
              auto const& left = is_descending ? two : one;
              auto const& right = is_descending ? one : two;
              if (is_before(left, right, order) || is_before(right, left, order)) {
                return is_before(left, right, order);
              }
              return one.diagnostic_id < two.diagnostic_id;
            });
}

std::uint64_t total_size(std::vector<diagnostic_report_info> const& reports) {
  std::uint64_t bytes = 0;
  for (auto const& report : reports) {
    bytes += report.size;
  }
  return bytes;
}

}  // namespace tavi::ctl
