#include "pending_upload.h"

#include <algorithm>

#include <spdlog/spdlog.h>

namespace tavi::stations_maintenance {

pending_upload::pending_upload(std::chrono::milliseconds const& timeout, std::string const& upload_token,
                               unsigned int id, std::optional<std::string> const& announced_version,
                               std::vector<std::string> const& announced_models,
                               station_firmware_status initial_status)
    : token(upload_token),
      firmware_id(id),
      version(announced_version),
      models(announced_models),
      status(initial_status),
      timer(std::make_unique<mura_common::Timer>()) {
  // No time at all is as good as the least that the timer takes. A time that it refuses is longer than
  // anybody could wait for its end.
  auto const counted = std::max(timeout, std::chrono::milliseconds(1));
  static_cast<void>(timer->start(counted, true, [this] {
    spdlog::error("[fw_storage_mgr] Timeout for the upload of firmware with token {}", token);
    status = station_firmware_status::failed;
  }));
}

}  // namespace tavi::stations_maintenance
