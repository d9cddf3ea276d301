#include "announced_uploads.h"

#include <algorithm>

namespace tavi::stations_maintenance {

namespace {

using uploads = std::list<fw_storage_mgr::pending_upload>;

uploads& opened(fw_storage_mgr& manager);

/// An explicit instantiation may name what is private.
template <uploads fw_storage_mgr::*Member>
struct opener {
  friend uploads& opened(fw_storage_mgr& manager) { return manager.*Member; }
};
template struct opener<&fw_storage_mgr::pending_uploads>;

}  // namespace

uploads& announced_uploads_of(fw_storage_mgr& manager) {
  return opened(manager);
}

bool wait_for_timeout(fw_storage_mgr& manager, log_capture const& log, std::string const& token) {
  if (!log.wait_for(spdlog::level::err,
                    "[fw_storage_mgr] Timeout for the upload of firmware with token " + token,
                    std::chrono::minutes(1))) {
    return false;
  }
  auto& announced = announced_uploads_of(manager);
  auto const upload = std::ranges::find(announced, token, &fw_storage_mgr::pending_upload::token);
  if (upload == announced.end()) {
    return true;
  }
  // The line comes before the status.
  upload->timer->stop_and_wait();
  return upload->status == station_firmware_status::failed;
}

}  // namespace tavi::stations_maintenance
