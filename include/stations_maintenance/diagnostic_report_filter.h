#pragma once

#include <cstdint>
#include <vector>

namespace tavi::stations_maintenance {

/// Chooses stored reports, to delete or export them.
struct diagnostic_report_filter {
  /// `diagnostic_id` of each chosen report, in any order; ids that are unknown or stand there twice do no
  /// harm.
  std::vector<std::int32_t> diagnostic_ids;

  bool operator==(diagnostic_report_filter const&) const = default;
};

}  // namespace tavi::stations_maintenance
