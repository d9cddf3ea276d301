#pragma once

#include <cstdint>
#include <tuple>
#include <vector>

#include "mura_common/ipc_interface.h"

namespace tavi::stations_maintenance {

/// Chooses stored reports, to delete or export them.
struct diagnostic_report_filter {
  /// `diagnostic_id` of each chosen report, in any order; ids that are unknown or stand there twice do no
  /// harm.
  std::vector<std::int32_t> diagnostic_ids;

  bool operator==(diagnostic_report_filter const&) const = default;
};

}  // namespace tavi::stations_maintenance

/// How it travels.
template <>
struct mura_common::record_fields<tavi::stations_maintenance::diagnostic_report_filter> {
  using record = tavi::stations_maintenance::diagnostic_report_filter;
  static constexpr std::tuple list{record_field{"diagnostic_ids", &record::diagnostic_ids}};
};
