#pragma once

#include <chrono>
#include <cstdint>

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
