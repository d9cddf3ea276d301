#include "firmware_intake.h"

#include <filesystem>
#include <system_error>
#include <utility>

#include <fmt/format.h>
#include <spdlog/spdlog.h>

#include "firmware_log.h"
#include "firmware_table.h"
#include "mura_common/file.h"
#include "mura_common/hash.h"
#include "mura_common/text.h"

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

firmware_intake::firmware_intake(firmware_table& firmwares, tavi::logger::i_logger& operators,
                                 announced_uploads::view awaited, std::string const& directory)
    : firmware_db(firmwares), logger(operators), uploads(std::move(awaited)), storage_path(directory) {
}

void firmware_intake::take(std::string const& token, std::string const& file_name,
                           std::string const& uploaded_path) {
  auto* const upload = uploads.find(token);
  if (upload == nullptr || upload->status != station_firmware_status::pending_upload) {
    return;
  }
  // A time-out that is being noted at this moment comes too late, and must not write the status afterwards.
  upload->timer->stop_and_wait();
  upload->status = station_firmware_status::being_processed;
  auto const destination =
      (fs::path(storage_path) / fmt::format("{}_{}", upload->firmware_id, file_name)).string();
  std::error_code ignored;
  auto const size = fs::file_size(uploaded_path, ignored);  // the largest number when it cannot be told
  if (!copy_into_store(uploaded_path, destination)) {
    // A file that stood at the destination already is not ours to remove.
    uploads.fail(upload->firmware_id, station_firmware_status::failed);
  } else if (!complete(*upload, uploaded_path, destination, size)) {
    remove_if_there(destination);
  }
  remove_if_there(uploaded_path);
}

bool firmware_intake::copy_into_store(std::string const& uploaded_path, std::string const& destination) {
  std::error_code error;
  std::error_code ignored;
  if (!mura_common::copy_file_durably(uploaded_path, destination, error) ||
      !fs::exists(destination, ignored)) {
    spdlog::error("[fw_storage_mgr] Fail to move file {} to {}. Error: {}", uploaded_path, destination,
                  error.message());
    return false;
  }
  fs::permissions(destination, fs::perms::others_read, fs::perm_options::add, error);
  if (error) {
    spdlog::error("[fw_storage_mgr] Fail to update firmware file ({}) permissions. Error: {}", destination,
                  error.message());
  }
  return true;
}

bool firmware_intake::complete(pending_upload& upload, std::string const& uploaded_path,
                               std::string const& destination, std::uint64_t size) {
  auto const firmware_id = upload.firmware_id;
  auto version = upload.version.value_or("");
  std::string hash;
  if (!check(destination, firmware_id, upload.models, hash, version)) {
    return false;
  }
  if (!firmware_db.update_stored_firmware_info(firmware_id, version, destination, size, hash)) {
    spdlog::error("[fw_storage_mgr] Failed to add firmware {} in database", uploaded_path);
    return refuse(firmware_id);
  }
  auto const row = firmware_db.get_firmware(firmware_id);
  if (row) {
    write_firmware_log(logger, tavi::logger::log_subtype::firmware_available, *row);
  }
  spdlog::info("[fw_storage_mgr] firmware with id {} added to DB and remove from pending", firmware_id);
  uploads.forget(firmware_id);
  return true;
}

bool firmware_intake::check(std::string const& path, unsigned int firmware_id,
                            std::vector<std::string> const& models, std::string& hash, std::string& version) {
  std::error_code ignored;
  if (!fs::exists(path, ignored)) {
    spdlog::error("[fw_storage_mgr] No file found at path {}", path);
    return refuse(firmware_id);
  }
  hash = mura_common::toHexString(mura_common::computeFileHash(mura_common::Sha2::Type::sha256, path));
  if (hash.empty()) {
    spdlog::error("[fw_storage_mgr] Fail to compute hash of file: {}", path);
    return refuse(firmware_id);
  }
  if (version.empty() && !read_version(path, version)) {
    spdlog::error("[fw_storage_mgr] Version cannot be retrieved");
    return refuse(firmware_id, station_firmware_status::without_version);
  }
  if (uploads.is_stored(version, models)) {
    spdlog::warn("[fw_storage_mgr] A firmware already exists upload is ignored for file {}", path);
    return refuse(firmware_id);
  }
  return true;
}

bool firmware_intake::read_version(std::string const& /*path*/, std::string& /*version*/) {
  spdlog::error("[fw_storage_mgr] NOT IMPLEMENTED");
  return false;
}

bool firmware_intake::refuse(unsigned int firmware_id, station_firmware_status status) {
  uploads.fail(firmware_id, status);
  return false;
}

}  // namespace tavi::stations_maintenance
