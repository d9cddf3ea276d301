#include "announced_uploads.h"

#include <algorithm>
#include <utility>

#include <spdlog/spdlog.h>

#include "firmware_table.h"

namespace tavi::stations_maintenance {

announced_uploads::announced_uploads(firmware_table& firmwares) : firmware_db(firmwares) {
}

announced_uploads::view announced_uploads::lock() {
  return {*this, std::unique_lock(pending_mutex)};
}

announced_uploads::view announced_uploads::without_lock() {
  return {*this, {}};
}

announced_uploads::view::view(announced_uploads& of, std::unique_lock<std::mutex> lock)
    : uploads(of), held(std::move(lock)) {
}

pending_upload* announced_uploads::view::find(std::string const& token) const {
  auto const found = std::ranges::find(uploads.pending_uploads, token, &pending_upload::token);
  return found == uploads.pending_uploads.end() ? nullptr : &*found;
}

pending_upload* announced_uploads::view::find(unsigned int firmware_id) const {
  auto const found = std::ranges::find(uploads.pending_uploads, firmware_id, &pending_upload::firmware_id);
  return found == uploads.pending_uploads.end() ? nullptr : &*found;
}

bool announced_uploads::view::is_stored(std::string const& version,
                                        std::vector<std::string> const& models) const {
  return std::ranges::any_of(models, [&](std::string const& model) {
    auto const rows = uploads.firmware_db.get_firmware_from_model(model);
    return rows && std::ranges::any_of(*rows, [&](station_firmware_info const& row) {
             return row.version == version && find(row.id) == nullptr;
           });
  });
}

void announced_uploads::view::await(std::chrono::milliseconds timeout, std::string const& token,
                                    unsigned int firmware_id, std::optional<std::string> const& version,
                                    std::vector<std::string> const& models) {
  uploads.pending_uploads.emplace_back(timeout, token, firmware_id, version, models,
                                       station_firmware_status::pending_upload);
}

void announced_uploads::view::forget(unsigned int firmware_id) {
  auto& pending = uploads.pending_uploads;
  auto const found = std::ranges::find(pending, firmware_id, &pending_upload::firmware_id);
  if (found != pending.end()) {
    pending.erase(found);
  }
}

void announced_uploads::view::fail(unsigned int firmware_id, station_firmware_status status) {
  auto row = uploads.firmware_db.get_firmware(firmware_id);
  if (row) {
    row->status = status;
    uploads.failed_uploads.push_back(*row);
    if (!uploads.firmware_db.remove_firmware(firmware_id)) {
      spdlog::warn("[fw_storage_mgr] Failed to remove failed upload for firmware with ID from DB");
    }
  }
  auto* const upload = find(firmware_id);
  if (upload == nullptr) {
    return;
  }
  upload->timer.reset();
  if (!row) {
    uploads.failed_uploads.push_back(
        {firmware_id, upload->version.value_or(""), "", 0, "", upload->models, status});
  }
  forget(firmware_id);
}

bool announced_uploads::view::forget_failed(unsigned int firmware_id) {
  auto& failed = uploads.failed_uploads;
  auto const found = std::ranges::find(failed, firmware_id, &station_firmware_info::id);
  if (found == failed.end()) {
    return false;
  }
  failed.erase(found);
  return true;
}

}  // namespace tavi::stations_maintenance
