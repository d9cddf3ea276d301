#pragma once

#include <chrono>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "stations_maintenance/diagnostic_report.h"

namespace tavi::ctl {

using stations_maintenance::diagnostic_report_info;
using stations_maintenance::diagnostic_report_type;

/// Which reports a command is about: those that fulfil every condition given.
struct report_choice {
  std::vector<std::uint32_t> stations;         ///< one of these; any when empty
  std::optional<diagnostic_report_type> type;  ///< of this type
  std::optional<std::chrono::seconds> older;   ///< received at least so long ago
  std::optional<std::chrono::seconds> newer;   ///< received at most so long ago
  std::optional<std::uint64_t> larger;         ///< of at least so many bytes

  /// Whether no condition is given, so that every report is chosen.
  [[nodiscard]] bool is_empty() const { return *this == report_choice{}; }
  bool operator==(report_choice const&) const = default;
};

/// What reports are sorted by; the id decides between equal ones.
enum class report_order { id, station, name, time, type, size };

/// How long ago a report was received. @return below 0 when its time lies in the future
[[nodiscard]] std::chrono::seconds age_of(diagnostic_report_info const& report,
                                          std::chrono::system_clock::time_point now);

/// Whether a report fulfils the conditions at the moment `now`.
[[nodiscard]] bool is_chosen(diagnostic_report_info const& report, report_choice const& choice,
                             std::chrono::system_clock::time_point now);

/// The reports that fulfil the conditions, in their order.
[[nodiscard]] std::vector<diagnostic_report_info> choose_reports(std::vector<diagnostic_report_info> reports,
                                                                 report_choice const& choice,
                                                                 std::chrono::system_clock::time_point now);

/// What looking for reports by their ids came to.
struct report_selection {
  std::vector<diagnostic_report_info> found;  ///< each once, in the order of the ids
  std::vector<std::uint32_t> unknown;         ///< ids without a report, each once
};

/// Looks the reports of these ids up. Ids that stand there twice count once.
[[nodiscard]] report_selection select_reports(std::vector<diagnostic_report_info> const& reports,
                                              std::vector<std::uint32_t> const& ids);

/// Sorts reports, ascending unless `is_descending`.
void sort_reports(std::vector<diagnostic_report_info>& reports, report_order order, bool is_descending);

/// Bytes of all of them.
[[nodiscard]] std::uint64_t total_size(std::vector<diagnostic_report_info> const& reports);

}  // namespace tavi::ctl
