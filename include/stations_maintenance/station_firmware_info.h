#pragma once

#include <cstdint>
#include <string>
#include <tuple>
#include <vector>

#include "mura_common/ipc_interface.h"

namespace tavi::stations_maintenance {

/// How far a firmware has come. The values are exchanged over IPC and never stored: they follow from the row
/// and from the uploads under way. 3 is no status.
enum class station_firmware_status : std::int32_t {
  none = -1,            ///< read from the database and not classified yet
  available = 0,        ///< file, hash and version are there
  pending_upload = 1,   ///< announced; its file has not arrived
  being_processed = 2,  ///< its file has arrived and is being copied and hashed
  without_version = 4,  ///< its file arrived, but nobody told its version; neither file nor row was kept
  failed = 5,           ///< its file did not arrive in time, or could not be stored for another reason
};

/// One station firmware, stored or announced.
struct station_firmware_info {
  std::uint32_t id = 0;    ///< number of the firmware, ascending in the order of announcement
  std::string version;     ///< as announced; empty when none was
  std::string path;        ///< full path of the stored file; empty until it is there
  std::uint32_t size = 0;  ///< bytes; 0 until the file is there
  std::string hash;        ///< of the file, in hexadecimal; empty until it is there
  std::vector<std::string>
      models;  ///< names of the station models it fits, sorted when read from the database
  station_firmware_status status = station_firmware_status::none;  ///< none until classified

  bool operator==(station_firmware_info const&) const = default;
};

}  // namespace tavi::stations_maintenance

/// How it travels.
template <>
struct mura_common::record_fields<tavi::stations_maintenance::station_firmware_info> {
  using record = tavi::stations_maintenance::station_firmware_info;
  static constexpr std::tuple list{
      record_field{"id", &record::id},        record_field{"version", &record::version},
      record_field{"path", &record::path},    record_field{"size", &record::size},
      record_field{"hash", &record::hash},    record_field{"models", &record::models},
      record_field{"status", &record::status}};
};
