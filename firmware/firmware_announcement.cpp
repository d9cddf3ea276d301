#include <algorithm>

#include <spdlog/spdlog.h>

#include "firmware_table.h"
#include "fw_storage_mgr.h"
#include "pending_upload.h"
#include "tavi/webserver_token/i_req_resp_webserver_token_service.h"

namespace tavi::stations_maintenance {

namespace {

/// The owner for whom tokens of this manager's uploads are made.
constexpr char const* token_owner = "fw_storage_mgr";

constexpr char const* upload_location = "/upload/";

}  // namespace

std::int32_t fw_storage_mgr::on_request_add_firmware(std::optional<std::string> const& version,
                                                     std::vector<std::string> const& models, std::string& uri,
                                                     unsigned int& firmware_id) {
  if (!initialized) {
    spdlog::error("[fw_storage_mgr] Manager not initialized");
    return announcement_failed;
  }
  auto const admitted = check_not_already_exists_and_max_not_reached(version, models);
  if (admitted != accepted) {
    return admitted;
  }
  auto const token = webserver_token_service.get_upload_token(token_owner);
  if (!token) {
    spdlog::error("[fw_storage_mgr] Fail to get an upload token");
    return announcement_failed;
  }
  switch (firmware_db.add_firmware(version, models, firmware_id)) {
    case firmware_table::success:
      uri = upload_location + *token;
      pending_uploads.emplace_back(upload_timeout, *token, firmware_id, version, models,
                                   station_firmware_status::pending_upload);
      return accepted;
    case firmware_table::unknown_model:
      take_back(firmware_id);
      return unknown_model;
    default:
      spdlog::error("[fw_storage_mgr] Fail to add firmware informations with id={} to database", firmware_id);
      return announcement_failed;
  }
}

void fw_storage_mgr::take_back(unsigned int firmware_id) {
  if (firmware_db.remove_firmware(firmware_id)) {
    return;
  }
  set_failed_upload(firmware_id, station_firmware_status::failed);
  spdlog::error("[fw_storage_mgr] Fail to remove firmware {} from database.", firmware_id);
}

std::int32_t fw_storage_mgr::check_not_already_exists_and_max_not_reached(
    std::optional<std::string> const& version, std::vector<std::string> const& models) {
  if (models.empty()) {
    spdlog::error("[fw_storage_mgr] No models associated to firmware");
    return unknown_model;
  }
  bool reached = false;
  if (!get_max_number_reached(models, reached)) {
    spdlog::error("[fw_storage_mgr] Fail to get the number of firmware stored");
    return announcement_failed;
  }
  if (reached) {
    return limit_reached;
  }
  if (!version) {
    return accepted;
  }
  if (version->empty()) {
    spdlog::error("[fw_storage_mgr] Version cannot be an empty string");
    return version_refused;
  }
  if (firmware_exists(*version, models)) {
    spdlog::error("[fw_storage_mgr] Version already exists");
    return version_refused;
  }
  return accepted;
}

bool fw_storage_mgr::get_max_number_reached(std::vector<std::string> const& models, bool& reached) {
  // A count that failed is the largest number there is: it reaches every limit, and is logged so, first.
  auto current = firmware_db.nb_stored_firmware();
  reached = current >= max_firmware_stored;
  if (reached) {
    spdlog::error(
        "[fw_storage_mgr] Maximum number of stored firmware has been reached. maximum={}, current={}",
        max_firmware_stored, current);
    return current != firmware_table::failure;
  }
  for (auto const& model : models) {
    current = firmware_db.nb_stored_firmware_for_model(model);
    reached = current >= max_firmware_by_station;
    if (reached) {
      spdlog::error(
          "[fw_storage_mgr] Maximum number of stored firmware for station model {} has been reached. "
          "maximum={}, current={}",
          model, max_firmware_by_station, current);
      return current != firmware_table::failure;
    }
  }
  return true;
}

bool fw_storage_mgr::firmware_exists(std::string const& version, std::vector<std::string> const& models) {
  return std::ranges::any_of(models, [&](std::string const& model) {
    auto const rows = firmware_db.get_firmware_from_model(model);
    return rows && std::ranges::any_of(*rows, [&](station_firmware_info const& row) {
             return row.version == version && find_pending(row.id) == pending_uploads.end();
           });
  });
}

}  // namespace tavi::stations_maintenance
