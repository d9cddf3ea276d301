#pragma once

#include <optional>
#include <string>
#include <vector>

#include "announced_uploads.h"
#include "stations_maintenance/station_firmware_info.h"
#include "tavi/logger/i_logger.h"

namespace tavi::stations_maintenance {

class firmware_table;

/// What is shown of the firmware, and offered to stations. Every look brings the state up to date: an upload
/// whose time is over becomes a failed one, an available firmware whose file has vanished is removed. Paths
/// go out as URIs. Made for one look.
class firmware_offer {
 public:
  firmware_offer(firmware_table& firmwares, tavi::logger::i_logger& operators,
                 announced_uploads::view awaited);

  /// See `fw_storage_mgr::get_firmware_from_id`.
  [[nodiscard]] std::optional<station_firmware_info> find(unsigned int firmware_id);
  /// See `fw_storage_mgr::get_all_firmwares`.
  [[nodiscard]] std::optional<std::vector<station_firmware_info>> get_all();
  /// The available firmwares that fit a model, by the site's name of it. @return empty when the rows cannot
  /// be read
  [[nodiscard]] std::optional<std::vector<station_firmware_info>> get_available(std::string const& model);

  /// See `fw_storage_mgr::set_status_in_firmware_status`.
  void set_status(station_firmware_info& info);
  /// See `fw_storage_mgr::remove_firmware_without_file`.
  [[nodiscard]] bool remove_without_file(station_firmware_info const& info);
  /// See `fw_storage_mgr::convert_path_to_uri`.
  static void convert_path_to_uri(std::string& path);

 private:
  [[nodiscard]] std::vector<station_firmware_info> shown(std::vector<station_firmware_info> rows,
                                                         bool (*is_wanted)(station_firmware_status));

  firmware_table& firmware_db;
  tavi::logger::i_logger& logger;
  announced_uploads::view uploads;
};

}  // namespace tavi::stations_maintenance
