#include <algorithm>
#include <system_error>
#include <utility>

#include <spdlog/spdlog.h>

#include "firmware_table.h"
#include "fw_storage_mgr.h"
#include "pending_upload.h"
#include "tavi/ocpp1_6/i_req_resp_ocpp_1_6_service.h"
#include "tavi/stations/station_model_provider.h"

namespace tavi::stations_maintenance {

namespace fs = std::filesystem;

namespace {

void remove_firmware_file(fs::path const& path) {
  std::error_code error;
  if (!fs::exists(path, error)) {
    return;
  }
  if (fs::remove(path, error)) {
    spdlog::info("[fw_storage_mgr] Deleting firmware file: {}", path.string());
  } else {
    spdlog::error("[fw_storage_mgr] Error while deleting firmware file: {}", path.string());
  }
}

}  // namespace

std::optional<station_firmware_info> fw_storage_mgr::get_firmware_from_id(unsigned int firmware_id) {
  std::lock_guard const lock(pending_mutex);
  auto row = firmware_db.get_firmware(firmware_id);
  if (row) {
    set_status_in_firmware_status(*row);
    if (remove_firmware_without_file(*row)) {
      return std::nullopt;
    }
    convert_path_to_uri(row->path);
    return row;
  }
  auto const failed = std::ranges::find(failed_uploads, firmware_id, &station_firmware_info::id);
  return failed == failed_uploads.end() ? std::nullopt : std::optional(*failed);
}

std::optional<std::vector<station_firmware_info>> fw_storage_mgr::get_all_firmwares() {
  std::lock_guard const lock(pending_mutex);
  auto rows = firmware_db.get_all_firmwares();
  if (!rows) {
    return std::nullopt;
  }
  std::vector<station_firmware_info> listed;
  for (auto& row : *rows) {
    set_status_in_firmware_status(row);
    if (row.status == station_firmware_status::failed || remove_firmware_without_file(row)) {
      continue;
    }
    convert_path_to_uri(row.path);
    listed.push_back(std::move(row));
  }
  listed.insert(listed.end(), failed_uploads.begin(), failed_uploads.end());
  return listed;
}

std::int32_t fw_storage_mgr::delete_firmware(unsigned int firmware_id) {
  auto const failed = std::ranges::find(failed_uploads, firmware_id, &station_firmware_info::id);
  if (failed != failed_uploads.end()) {
    failed_uploads.erase(failed);
    return deleted;
  }
  auto const info = get_firmware_from_id(firmware_id);
  if (!info) {
    spdlog::error("[fw_storage_mgr] No firmware found with ID: {}", firmware_id);
    return unknown_firmware;
  }
  forget_pending(firmware_id);
  auto const removed = firmware_db.remove_firmware(firmware_id);
  if (!removed) {
    spdlog::error("[fw_storage_mgr] Failed to remove firmware with id: {} from database", firmware_id);
  }
  if (!info->path.empty()) {
    remove_firmware_file(convert_uri_to_path(info->path));
  }
  functional_log(tavi::logger::log_subtype::firmware_deleted, *info);
  return removed ? deleted : row_not_removed;
}

void fw_storage_mgr::forget_pending(unsigned int firmware_id) {
  std::lock_guard const lock(pending_mutex);
  auto const upload = find_pending(firmware_id);
  if (upload != pending_uploads.end()) {
    pending_uploads.erase(upload);
  }
}

std::optional<std::vector<station_firmware_info>> fw_storage_mgr::get_available_firmware_for_station(
    unsigned int station_id) {
  std::lock_guard const lock(pending_mutex);
  auto const station = ocpp_service.get_charging_station(station_id);
  if (!station) {
    return std::nullopt;
  }
  auto const* const model = station_model_provider.find_station_model(station->vendor, station->model);
  if (model == nullptr) {
    spdlog::error("[fw_storage_mgr] Unknown station model {} of vendor {}", station->model, station->vendor);
    return std::nullopt;
  }
  auto rows = firmware_db.get_firmware_from_model(*model);
  if (!rows) {
    return std::nullopt;
  }
  std::vector<station_firmware_info> offered;
  for (auto& row : *rows) {
    set_status_in_firmware_status(row);
    if (row.status != station_firmware_status::available || remove_firmware_without_file(row)) {
      continue;
    }
    convert_path_to_uri(row.path);
    offered.push_back(std::move(row));
  }
  return offered;
}

}  // namespace tavi::stations_maintenance
