#include "awaited_upload.h"

#include <chrono>

namespace tavi::stations_maintenance {

namespace {

announced_uploads& opened(fw_storage_mgr& manager);

/// An explicit instantiation may name what is private.
template <announced_uploads fw_storage_mgr::*Member>
struct opener {
  friend announced_uploads& opened(fw_storage_mgr& manager) { return manager.*Member; }
};
template struct opener<&fw_storage_mgr::uploads>;

}  // namespace

pending_upload* awaited_upload(fw_storage_mgr& manager, std::string const& token) {
  return opened(manager).without_lock().find(token);
}

bool wait_for_timeout(fw_storage_mgr& manager, log_capture const& log, std::string const& token) {
  if (!log.wait_for(spdlog::level::err,
                    "[fw_storage_mgr] Timeout for the upload of firmware with token " + token,
                    std::chrono::minutes(1))) {
    return false;
  }
  auto* const upload = awaited_upload(manager, token);
  if (upload == nullptr) {
    return true;
  }
  // The line comes before the status.
  upload->timer->stop_and_wait();
  return upload->status == station_firmware_status::failed;
}

}  // namespace tavi::stations_maintenance
