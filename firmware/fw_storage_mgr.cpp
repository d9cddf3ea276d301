#include "fw_storage_mgr.h"

#include <algorithm>
#include <system_error>
#include <utility>

#include <spdlog/spdlog.h>

#include "firmware_announcement.h"
#include "firmware_intake.h"
#include "firmware_log.h"
#include "firmware_offer.h"
#include "firmware_table.h"
#include "mura_common/file.h"
#include "mura_common/text.h"
#include "tavi/ocpp1_6/i_req_resp_ocpp_1_6_service.h"
#include "tavi/stations/station_model_provider.h"

namespace tavi::stations_maintenance {

namespace fs = std::filesystem;
using infos = std::vector<station_firmware_info>;

namespace {

std::chrono::milliseconds milliseconds_of(std::chrono::seconds timeout) {
  // The multiplication must not overflow: what the clock cannot tell is left to the timer.
  constexpr auto longest = std::chrono::duration_cast<std::chrono::seconds>(std::chrono::milliseconds::max());
  return std::clamp(timeout, -longest, longest);
}

/// The first folder above `path`, or itself, that exists.
fs::path existing_part_of(fs::path path) {
  std::error_code ignored;
  while (path.has_relative_path() && !fs::exists(path, ignored)) {
    path = path.parent_path();
  }
  return path;
}

/// Makes the entries of new folders last, from `folder` up to the one in `oldest`, which was there before.
/// One that cannot be flushed is no reason to refuse firmware.
void flush_parents(fs::path folder, fs::path const& oldest) {
  std::error_code ignored;
  while (folder != oldest && folder.has_relative_path()) {
    folder = folder.parent_path();
    static_cast<void>(mura_common::flush_folder(folder, ignored));
  }
}

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

fw_storage_mgr::fw_storage_mgr(tavi::logger::i_logger& logger,
                               tavi::ocpp1_6::i_req_resp_ocpp_1_6_service& ocpp,
                               tavi::webserver_token::i_req_resp_webserver_token_service& tokens,
                               stations_model_table& models, firmware_table& firmwares,
                               tavi::stations::i_station_model_provider& supported_models)
    : logger_service(logger),
      ocpp_service(ocpp),
      webserver_token_service(tokens),
      models_table(models),
      firmware_db(firmwares),
      station_model_provider(supported_models),
      uploads(firmware_db) {
}

fw_storage_mgr::~fw_storage_mgr() = default;

bool fw_storage_mgr::init(std::string const& path, unsigned int max_stored, unsigned int max_by_station,
                          std::chrono::seconds timeout) {
  initialized = false;
  storage_path = path;
  max_firmware_stored = max_stored;
  max_firmware_by_station = max_by_station;
  upload_timeout = milliseconds_of(timeout);

  auto const oldest = existing_part_of(storage_path);
  std::error_code error;
  fs::create_directories(storage_path, error);
  if (error) {
    spdlog::warn("[fw_storage_mgr] Fail to create destination directory: {} Error message: {}", storage_path,
                 error.message());
  } else {
    flush_parents(storage_path, oldest);
    initialized = true;
  }
  remove_rows_without_file();
  return initialized;
}

void fw_storage_mgr::remove_rows_without_file() {
  auto const rows = firmware_db.get_all_firmwares();
  if (!rows) {
    return;
  }
  for (auto const& row : *rows) {
    if (row.path.empty()) {
      firmware_db.remove_firmware(row.id);
      spdlog::info("[fw_storage_mgr] Cleanup firmware {} that has no file", row.id);
      continue;
    }
    auto const path = convert_uri_to_path(row.path);
    if (!fs::exists(path)) {
      spdlog::info("[fw_storage_mgr] Cleanup firmware {} that has file that doesn't exist: {}", row.id,
                   path.string());
      firmware_db.remove_firmware(row.id);
    }
  }
}

firmware_announcement fw_storage_mgr::announcement() {
  return {firmware_db, uploads.without_lock(), {max_firmware_stored, max_firmware_by_station}};
}

firmware_intake fw_storage_mgr::intake(announced_uploads::view awaited) {
  return {firmware_db, logger_service, std::move(awaited), storage_path};
}

firmware_offer fw_storage_mgr::offer(announced_uploads::view awaited) {
  return {firmware_db, logger_service, std::move(awaited)};
}

// --- announcement and upload ------------------------------------------------------------------------------

store_firmware_result fw_storage_mgr::on_request_add_firmware(std::optional<std::string> const& version,
                                                              std::vector<std::string> const& models,
                                                              std::string& uri, unsigned int& firmware_id) {
  if (!initialized) {
    spdlog::error("[fw_storage_mgr] Manager not initialized");
    return store_firmware_result::failed;
  }
  return announcement().announce(webserver_token_service, upload_timeout, version, models, uri, firmware_id);
}

store_firmware_result fw_storage_mgr::check_not_already_exists_and_max_not_reached(
    std::optional<std::string> const& version, std::vector<std::string> const& models) {
  return announcement().check(version, models);
}

bool fw_storage_mgr::get_max_number_reached(std::vector<std::string> const& models, bool& reached) {
  return announcement().get_max_number_reached(models, reached);
}

bool fw_storage_mgr::firmware_exists(std::string const& version, std::vector<std::string> const& models) {
  return uploads.without_lock().is_stored(version, models);
}

bool fw_storage_mgr::is_my_token(std::string const& token) {
  return uploads.lock().find(token) != nullptr;
}

void fw_storage_mgr::on_file_uploaded(std::string const& token, std::string const& file_name,
                                      std::string const& uploaded_path) {
  if (!initialized) {
    spdlog::error("[fw_storage_mgr] Manager not initialized");
    return;
  }
  intake(uploads.lock()).take(token, file_name, uploaded_path);
}

bool fw_storage_mgr::check_uploaded_file(std::string const& path, unsigned int firmware_id,
                                         std::vector<std::string> const& models, std::string& hash,
                                         std::string& version) {
  return intake(uploads.without_lock()).check(path, firmware_id, models, hash, version);
}

bool fw_storage_mgr::read_firmware_version_from_file(std::string const& path, std::string& version) {
  return firmware_intake::read_version(path, version);
}

void fw_storage_mgr::set_failed_upload(unsigned int firmware_id, station_firmware_status const& status) {
  uploads.without_lock().fail(firmware_id, status);
}

void fw_storage_mgr::functional_log(tavi::logger::log_subtype const& subtype,
                                    station_firmware_info const& info) {
  write_firmware_log(logger_service, subtype, info);
}

// --- queries and deletion ---------------------------------------------------------------------------------

std::optional<station_firmware_info> fw_storage_mgr::get_firmware_from_id(unsigned int firmware_id) {
  return offer(uploads.lock()).find(firmware_id);
}

std::optional<infos> fw_storage_mgr::get_all_firmwares() {
  return offer(uploads.lock()).get_all();
}

delete_firmware_result fw_storage_mgr::delete_firmware(unsigned int firmware_id) {
  if (uploads.without_lock().forget_failed(firmware_id)) {
    return delete_firmware_result::deleted;
  }
  auto const info = get_firmware_from_id(firmware_id);
  if (!info) {
    spdlog::error("[fw_storage_mgr] No firmware found with ID: {}", firmware_id);
    return delete_firmware_result::unknown_firmware;
  }
  uploads.lock().forget(firmware_id);
  auto const removed = firmware_db.remove_firmware(firmware_id);
  if (!removed) {
    spdlog::error("[fw_storage_mgr] Failed to remove firmware with id: {} from database", firmware_id);
  }
  if (!info->path.empty()) {
    remove_firmware_file(convert_uri_to_path(info->path));
  }
  functional_log(tavi::logger::log_subtype::firmware_deleted, *info);
  return removed ? delete_firmware_result::deleted : delete_firmware_result::row_not_deleted;
}

std::optional<infos> fw_storage_mgr::get_available_firmware_for_station(unsigned int station_id) {
  auto offered = offer(uploads.lock());
  auto const station = ocpp_service.get_charging_station(station_id);
  if (!station) {
    return std::nullopt;
  }
  auto const* const model = station_model_provider.find_station_model(station->vendor, station->model);
  if (model == nullptr) {
    spdlog::error("[fw_storage_mgr] Unknown station model {} of vendor {}", station->model, station->vendor);
    return std::nullopt;
  }
  return offered.get_available(*model);
}

void fw_storage_mgr::set_status_in_firmware_status(station_firmware_info& info) {
  offer(uploads.without_lock()).set_status(info);
}

bool fw_storage_mgr::remove_firmware_without_file(station_firmware_info const& info) {
  return offer(uploads.without_lock()).remove_without_file(info);
}

// --- paths ------------------------------------------------------------------------------------------------

void fw_storage_mgr::convert_path_to_uri(std::string& path) {
  firmware_offer::convert_path_to_uri(path);
}

fs::path fw_storage_mgr::convert_uri_to_path(std::string const& uri) const {
  if (mura_common::startsWith(storage_path, "/")) {
    return uri;
  }
  // Appended with its "/" it would replace the current directory.
  auto const relative = mura_common::startsWith(uri, "/") ? uri.substr(1) : uri;
  return fs::current_path() / relative;
}

}  // namespace tavi::stations_maintenance
