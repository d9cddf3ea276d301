#include "firmware_announcement.h"

#include <utility>

#include <spdlog/spdlog.h>

#include "firmware_table.h"
#include "tavi/webserver_token/i_req_resp_webserver_token_service.h"

namespace tavi::stations_maintenance {

namespace {

/// The owner for whom tokens of firmware uploads are made.
constexpr char const* token_owner = "fw_storage_mgr";

constexpr char const* upload_location = "/upload/";

}  // namespace

firmware_announcement::firmware_announcement(firmware_table& firmwares, announced_uploads::view awaited,
                                             limits allowed)
    : firmware_db(firmwares), uploads(std::move(awaited)), most(allowed) {
}

store_firmware_result firmware_announcement::announce(
    tavi::webserver_token::i_req_resp_webserver_token_service& tokens, std::chrono::milliseconds timeout,
    std::optional<std::string> const& version, std::vector<std::string> const& models, std::string& uri,
    unsigned int& firmware_id) {
  auto const admitted = check(version, models);
  if (admitted != store_firmware_result::announced) {
    return admitted;
  }
  auto const token = tokens.get_upload_token(token_owner);
  if (!token) {
    spdlog::error("[fw_storage_mgr] Fail to get an upload token");
    return store_firmware_result::failed;
  }
  switch (firmware_db.add_firmware(version, models, firmware_id)) {
    case firmware_table::success:
      uri = upload_location + *token;
      uploads.await(timeout, *token, firmware_id, version, models);
      return store_firmware_result::announced;
    case firmware_table::unknown_model:
      take_back(firmware_id);
      return store_firmware_result::model_refused;
    default:
      spdlog::error("[fw_storage_mgr] Fail to add firmware informations with id={} to database", firmware_id);
      return store_firmware_result::failed;
  }
}

void firmware_announcement::take_back(unsigned int firmware_id) {
  if (!firmware_db.remove_firmware(firmware_id)) {
    uploads.fail(firmware_id, station_firmware_status::failed);
    spdlog::error("[fw_storage_mgr] Fail to remove firmware {} from database.", firmware_id);
  }
}

store_firmware_result firmware_announcement::check(std::optional<std::string> const& version,
                                                   std::vector<std::string> const& models) const {
  if (models.empty()) {
    spdlog::error("[fw_storage_mgr] No models associated to firmware");
    return store_firmware_result::model_refused;
  }
  bool reached = false;
  if (!get_max_number_reached(models, reached)) {
    spdlog::error("[fw_storage_mgr] Fail to get the number of firmware stored");
    return store_firmware_result::failed;
  }
  if (reached) {
    return store_firmware_result::limit_reached;
  }
  if (!version) {
    return store_firmware_result::announced;
  }
  if (version->empty()) {
    spdlog::error("[fw_storage_mgr] Version cannot be an empty string");
    return store_firmware_result::version_refused;
  }
  if (uploads.is_stored(*version, models)) {
    spdlog::error("[fw_storage_mgr] Version already exists");
    return store_firmware_result::version_refused;
  }
  return store_firmware_result::announced;
}

bool firmware_announcement::get_max_number_reached(std::vector<std::string> const& models,
                                                   bool& reached) const {
  // A count that failed is the largest number there is: it reaches every limit, and is logged so, first.
  auto current = firmware_db.nb_stored_firmware();
  reached = current >= most.stored;
  if (reached) {
    spdlog::error(
        "[fw_storage_mgr] Maximum number of stored firmware has been reached. maximum={}, current={}",
        most.stored, current);
    return current != firmware_table::failure;
  }
  for (auto const& model : models) {
    current = firmware_db.nb_stored_firmware_for_model(model);
    reached = current >= most.by_station;
    if (reached) {
      spdlog::error(
          "[fw_storage_mgr] Maximum number of stored firmware for station model {} has been reached. "
          "maximum={}, current={}",
          model, most.by_station, current);
      return current != firmware_table::failure;
    }
  }
  return true;
}

}  // namespace tavi::stations_maintenance
