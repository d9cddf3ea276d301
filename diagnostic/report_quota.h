#pragma once

#include <cstdint>

#include "stations_maintenance/diagnostic_report.h"

namespace tavi::stations_maintenance {

/// How much is kept, and thus when a report has to give way to a new one: a decision from numbers alone.
struct report_quota {
  unsigned int max_periodic_reports = 0;       ///< most periodic reports kept for a station
  unsigned int max_manual_reports = 0;         ///< most manual reports kept for a station
  std::uint64_t max_total_directory_size = 0;  ///< bytes of all reports together stay below it

  /// Whether a station with so many reports of a type must give one up for the next, so that it is at its
  /// limit again afterwards. With a limit of 0 always; never for a value that is no type.
  [[nodiscard]] bool is_count_reached(diagnostic_report_type type, std::uint32_t stored_reports) const;

  /// Whether a file of so many bytes leaves the total below the budget.
  /// @param size  the largest number, which a file of unknown size comes with, never fits
  [[nodiscard]] bool has_room(std::uint64_t stored_bytes, std::uint64_t size) const;
};

}  // namespace tavi::stations_maintenance
