#pragma once

#include <chrono>
#include <cstdint>
#include <tuple>

#include "mura_common/ipc_interface.h"

namespace tavi::stations_maintenance {

/// The part of the service's configuration that can be read and changed while it runs.
struct stations_maintenance_configuration {
  std::uint32_t max_periodic_report_per_station = 0;  ///< most periodic reports kept for a station
  /// Whether periodic generation is allowed. Read, it is true exactly when the maximum is not 0; applied as
  /// false, maximum and period count as 0, whatever they hold.
  bool periodic_generation_enabled = false;
  std::chrono::seconds period_for_automatic_generation{0};  ///< 0 means no periodic generation

  bool operator==(stations_maintenance_configuration const&) const = default;
};

}  // namespace tavi::stations_maintenance

/// How it travels.
template <>
struct mura_common::record_fields<tavi::stations_maintenance::stations_maintenance_configuration> {
  using record = tavi::stations_maintenance::stations_maintenance_configuration;
  static constexpr std::tuple list{
      record_field{"max_periodic_report_per_station", &record::max_periodic_report_per_station},
      record_field{"periodic_generation_enabled", &record::periodic_generation_enabled},
      record_field{"period_for_automatic_generation", &record::period_for_automatic_generation}};
};
