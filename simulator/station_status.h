#pragma once

#include <chrono>
#include <string>

#include "station_options.h"

namespace tavi::simulator {

/// What a station knows about itself at a moment, as its diagnostics show it.
struct station_status {
  bool is_connected = false;                  ///< whether a WebSocket is open
  std::chrono::seconds heartbeat_interval{};  ///< given by the central system; 0 before the first boot
  std::string last_upload = "Idle";           ///< how the last upload ended, in the words of OCPP
};

/// The station's settings as a JSON object, for configuration.json.
[[nodiscard]] std::string describe_configuration(station_options const& options);

/// The station's status as a JSON object with the present time, for status.json.
[[nodiscard]] std::string describe_status(station_options const& options, station_status const& status);

}  // namespace tavi::simulator
