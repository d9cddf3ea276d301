#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "announced_uploads.h"
#include "tavi/logger/i_logger.h"

namespace tavi::stations_maintenance {

class firmware_table;

/// The way of one announced firmware's file into the store: copied durably, readable for everybody, hashed
/// and recorded. What fails on the way undoes the copy and makes the firmware a failed upload. Made for one
/// upload.
class firmware_intake {
 public:
  /// @param directory  of the store; must outlive this, as the references
  firmware_intake(firmware_table& firmwares, tavi::logger::i_logger& operators,
                  announced_uploads::view awaited, std::string const& directory);

  /// See `fw_storage_mgr::on_file_uploaded`.
  void take(std::string const& token, std::string const& file_name, std::string const& uploaded_path);
  /// See `fw_storage_mgr::check_uploaded_file`.
  [[nodiscard]] bool check(std::string const& path, unsigned int firmware_id,
                           std::vector<std::string> const& models, std::string& hash, std::string& version);
  /// See `fw_storage_mgr::read_firmware_version_from_file`.
  [[nodiscard]] static bool read_version(std::string const& path, std::string& version);

 private:
  [[nodiscard]] bool copy_into_store(std::string const& uploaded_path, std::string const& destination);
  [[nodiscard]] bool complete(pending_upload& upload, std::string const& uploaded_path,
                              std::string const& destination, std::uint64_t size);
  [[nodiscard]] bool refuse(unsigned int firmware_id,
                            station_firmware_status status = station_firmware_status::failed);

  firmware_table& firmware_db;
  tavi::logger::i_logger& logger;
  announced_uploads::view uploads;
  std::string const& storage_path;
};

}  // namespace tavi::stations_maintenance
