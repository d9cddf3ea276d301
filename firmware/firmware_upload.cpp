#include <algorithm>
#include <system_error>

#include <fmt/format.h>
#include <spdlog/spdlog.h>

#include "firmware_table.h"
#include "fw_storage_mgr.h"
#include "mura_common/file.h"
#include "mura_common/hash.h"
#include "mura_common/text.h"
#include "pending_upload.h"

namespace tavi::stations_maintenance {

namespace fs = std::filesystem;

namespace {

void remove_if_there(std::string const& path) {
  std::error_code error;
  if (fs::exists(path, error) && !fs::remove(path, error)) {
    spdlog::warn("[fw_storage_mgr] Fail to remove file: {}", path);
  }
}

}  // namespace

void fw_storage_mgr::on_file_uploaded(std::string const& token, std::string const& file_name,
                                      std::string const& uploaded_path) {
  if (!initialized) {
    spdlog::error("[fw_storage_mgr] Manager not initialized");
    return;
  }
  std::lock_guard const lock(pending_mutex);
  auto const upload = std::ranges::find(pending_uploads, token, &pending_upload::token);
  if (upload == pending_uploads.end() || upload->status != station_firmware_status::pending_upload) {
    return;
  }
  // A time-out that is being noted at this moment comes too late, and must not write the status afterwards.
  upload->timer->stop_and_wait();
  upload->status = station_firmware_status::being_processed;
  auto const destination =
      (fs::path(storage_path) / fmt::format("{}_{}", upload->firmware_id, file_name)).string();
  std::error_code ignored;
  auto const size = fs::file_size(uploaded_path, ignored);  // the largest number when it cannot be told
  // A file that stood at the destination already is not ours to remove.
  if (copy_into_store(upload->firmware_id, uploaded_path, destination) &&
      !complete_firmware(upload, uploaded_path, destination, size)) {
    remove_if_there(destination);
  }
  remove_if_there(uploaded_path);
}

bool fw_storage_mgr::copy_into_store(unsigned int firmware_id, std::string const& uploaded_path,
                                     std::string const& destination) {
  std::error_code error;
  std::error_code ignored;
  if (!mura_common::copy_file_durably(uploaded_path, destination, error) ||
      !fs::exists(destination, ignored)) {
    spdlog::error("[fw_storage_mgr] Fail to move file {} to {}. Error: {}", uploaded_path, destination,
                  error.message());
    set_failed_upload(firmware_id, station_firmware_status::failed);
    return false;
  }
  fs::permissions(destination, fs::perms::others_read, fs::perm_options::add, error);
  if (error) {
    spdlog::error("[fw_storage_mgr] Fail to update firmware file ({}) permissions. Error: {}", destination,
                  error.message());
  }
  return true;
}

bool fw_storage_mgr::complete_firmware(pending_iterator upload, std::string const& uploaded_path,
                                       std::string const& destination, std::uint64_t size) {
  auto const firmware_id = upload->firmware_id;
  auto version = upload->version.value_or("");
  std::string hash;
  if (!check_uploaded_file(destination, firmware_id, upload->models, hash, version)) {
    return false;
  }
  if (!firmware_db.update_stored_firmware_info(firmware_id, version, destination, size, hash)) {
    spdlog::error("[fw_storage_mgr] Failed to add firmware {} in database", uploaded_path);
    set_failed_upload(firmware_id, station_firmware_status::failed);
    return false;
  }
  auto const row = firmware_db.get_firmware(firmware_id);
  if (row) {
    functional_log(tavi::logger::log_subtype::firmware_available, *row);
  }
  upload->timer.reset();
  spdlog::info("[fw_storage_mgr] firmware with id {} added to DB and remove from pending", firmware_id);
  pending_uploads.erase(upload);
  return true;
}

bool fw_storage_mgr::check_uploaded_file(std::string const& path, unsigned int firmware_id,
                                         std::vector<std::string> const& models, std::string& hash,
                                         std::string& version) {
  std::error_code ignored;
  if (!fs::exists(path, ignored)) {
    spdlog::error("[fw_storage_mgr] No file found at path {}", path);
    set_failed_upload(firmware_id, station_firmware_status::failed);
    return false;
  }
  hash = mura_common::toHexString(mura_common::computeFileHash(mura_common::Sha2::Type::sha256, path));
  if (hash.empty()) {
    spdlog::error("[fw_storage_mgr] Fail to compute hash of file: {}", path);
    set_failed_upload(firmware_id, station_firmware_status::failed);
    return false;
  }
  if (version.empty() && !read_firmware_version_from_file(path, version)) {
    spdlog::error("[fw_storage_mgr] Version cannot be retrieved");
    set_failed_upload(firmware_id, station_firmware_status::without_version);
    return false;
  }
  if (firmware_exists(version, models)) {
    spdlog::warn("[fw_storage_mgr] A firmware already exists upload is ignored for file {}", path);
    set_failed_upload(firmware_id, station_firmware_status::failed);
    return false;
  }
  return true;
}

}  // namespace tavi::stations_maintenance
