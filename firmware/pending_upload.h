#pragma once

#include <atomic>
#include <chrono>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "mura_common/timer.h"
#include "stations_maintenance/station_firmware_info.h"

namespace tavi::stations_maintenance {

/// An announced firmware whose file is awaited, with its time-out.
///
/// The status is `pending_upload` until the file arrives (`being_processed`) or the time is over (`failed`).
/// The time-out writes a line into the log and then the status, from a thread of the timers, and touches
/// nothing else; all other members keep the values given at the announcement. An upload stays where it was
/// built, because its timer refers to it.
struct pending_upload {
  /// Keeps the values and starts the time-out; one below 1 ms is over at once, one too long for the clock
  /// never is.
  pending_upload(std::chrono::milliseconds const& timeout, std::string const& upload_token, unsigned int id,
                 std::optional<std::string> const& announced_version,
                 std::vector<std::string> const& announced_models, station_firmware_status initial_status);
  /// Ends the time-out and waits for one that is being noted.
  ~pending_upload() = default;
  pending_upload(pending_upload const&) = delete;
  pending_upload& operator=(pending_upload const&) = delete;

  std::string token;                            ///< that the web server will tell with the file
  unsigned int firmware_id;                     ///< of the row added at the announcement
  std::optional<std::string> version;           ///< empty when none was announced
  std::vector<std::string> models;              ///< station models that the firmware fits
  std::atomic<station_firmware_status> status;  ///< see above
  std::unique_ptr<mura_common::Timer> timer;    ///< the time-out
};

}  // namespace tavi::stations_maintenance
