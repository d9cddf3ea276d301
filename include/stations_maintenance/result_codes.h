#pragma once

#include <cstdint>

/// What operations of the service come to. They travel as their numbers; a newer service may know more of them.
namespace tavi::stations_maintenance {

/// What an announcement of a firmware (`store_firmware`) comes to.
enum class store_firmware_result : std::int32_t {
  announced = 0,        ///< its file is awaited until the upload time-out
  version_refused = 1,  ///< the version is empty, or a stored firmware for one of the models has it already
  limit_reached = 2,    ///< as many firmware as allowed are stored, of all models or of one of those given
  model_refused = 3,    ///< no model was given, or the site does not know one
  failed = -1,          ///< not initialised, no upload token, or a database error
};

/// What a deletion of a firmware (`delete_firmware`) comes to.
enum class delete_firmware_result : std::int32_t {
  deleted = 0,           ///< it is gone with its file, the pending upload ended, or the failed one forgotten
  unknown_firmware = 1,  ///< there is none with this id
  row_not_deleted = 2,   ///< its record is still there; its file and its pending upload are gone all the same
};

/// What a deletion of reports (`delete_diagnostic_reports`) comes to.
enum class delete_reports_result : std::uint32_t {
  deleted = 0,          ///< every chosen report is gone
  none_matched = 1,     ///< there is none of the chosen ones, or they could not be looked up
  not_all_deleted = 2,  ///< at least one could not be deleted, or its file was missing already; its record is
                        ///< gone then
};

/// What asking a station for a report (`generate_station_diagnostic_report`) comes to.
enum class generation_result : std::uint32_t {
  accepted = 0,         ///< the station was asked and will upload; the report follows later, or never
  unknown_station = 1,  ///< the OCPP service does not know the station
  not_connected = 2,    ///< the station is not connected
  failed =
      0xFFFFFFFF,  ///< reports of this type are switched off, the station is uploading already, no upload
                   ///< token, no network configuration, or no answer of the station or the OCPP service
};

}  // namespace tavi::stations_maintenance
