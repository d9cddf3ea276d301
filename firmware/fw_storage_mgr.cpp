#include "fw_storage_mgr.h"

#include <algorithm>
#include <system_error>

#include <fmt/format.h>
#include <spdlog/spdlog.h>

#include "firmware_table.h"
#include "mura_common/file.h"
#include "mura_common/text.h"
#include "pending_upload.h"

namespace tavi::stations_maintenance {

namespace fs = std::filesystem;
using tavi::logger::log_subtype;

namespace {

constexpr unsigned int functional_log_category = 13;

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

char const* prefix_of(log_subtype subtype) {
  switch (subtype) {
    case log_subtype::firmware_available:
      return "New firmware available version: ";
    case log_subtype::firmware_deleted:
      return "Firmware deleted version: ";
    default:
      return "";
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
      station_model_provider(supported_models) {
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

bool fw_storage_mgr::is_my_token(std::string const& token) const {
  std::lock_guard const lock(pending_mutex);
  return std::ranges::find(pending_uploads, token, &pending_upload::token) != pending_uploads.end();
}

void fw_storage_mgr::convert_path_to_uri(std::string& path) {
  if (!path.empty() && !mura_common::startsWith(path, "/")) {
    path.insert(0, "/");
  }
}

fs::path fw_storage_mgr::convert_uri_to_path(std::string const& uri) const {
  if (mura_common::startsWith(storage_path, "/")) {
    return uri;
  }
  // Appended with its "/" it would replace the current directory.
  auto const relative = mura_common::startsWith(uri, "/") ? uri.substr(1) : uri;
  return fs::current_path() / relative;
}

bool fw_storage_mgr::read_firmware_version_from_file(std::string const& /*path*/, std::string& /*version*/) {
  spdlog::error("[fw_storage_mgr] NOT IMPLEMENTED");
  return false;
}

fw_storage_mgr::pending_iterator fw_storage_mgr::find_pending(unsigned int firmware_id) {
  return std::ranges::find(pending_uploads, firmware_id, &pending_upload::firmware_id);
}

void fw_storage_mgr::set_status_in_firmware_status(station_firmware_info& info) {
  auto const pending = find_pending(info.id);
  if (pending != pending_uploads.end()) {
    info.status = pending->status;
    if (info.status == station_firmware_status::failed) {
      set_failed_upload(info.id, station_firmware_status::failed);
    }
    return;
  }
  if (info.path.empty() || info.hash.empty()) {
    info.status = station_firmware_status::failed;
  } else if (info.version.empty()) {
    info.status = station_firmware_status::without_version;
  } else {
    info.status = station_firmware_status::available;
  }
}

bool fw_storage_mgr::remove_firmware_without_file(station_firmware_info const& info) {
  if (info.status != station_firmware_status::available || info.path.empty()) {
    return false;
  }
  std::error_code error;
  if (fs::exists(info.path, error)) {
    return false;
  }
  if (error) {
    spdlog::warn("[fw_storage_mgr] An error occurred while testing if file {} exists", info.path);
    return false;
  }
  spdlog::warn("[fw_storage_mgr] Firmware with id {} is available but does not have file at {}", info.id,
               info.path);
  auto const removed = firmware_db.remove_firmware(info.id);
  if (removed) {
    spdlog::info("[fw_storage_mgr] Firmware with ID {} has be removed from database", info.id);
  }
  // Nobody can use the firmware any more, so operators are told even when its row remains.
  functional_log(log_subtype::firmware_deleted, info);
  return removed;
}

void fw_storage_mgr::set_failed_upload(unsigned int firmware_id, station_firmware_status const& status) {
  auto row = firmware_db.get_firmware(firmware_id);
  if (row) {
    row->status = status;
    failed_uploads.push_back(*row);
    if (!firmware_db.remove_firmware(firmware_id)) {
      spdlog::warn("[fw_storage_mgr] Failed to remove failed upload for firmware with ID from DB");
    }
  }
  auto const upload = find_pending(firmware_id);
  if (upload == pending_uploads.end()) {
    return;
  }
  upload->timer.reset();
  if (!row) {
    failed_uploads.push_back({firmware_id, upload->version.value_or(""), "", 0, "", upload->models, status});
  }
  pending_uploads.erase(upload);
}

void fw_storage_mgr::functional_log(log_subtype const& subtype, station_firmware_info const& info) {
  logger_service.send_functional_log(functional_log_category, subtype,
                                     fmt::format("{}{} id={} for models: {}", prefix_of(subtype),
                                                 info.version, info.id, fmt::join(info.models, ", ")));
}

}  // namespace tavi::stations_maintenance
