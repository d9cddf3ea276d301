#pragma once

/// The names under which the service and its operations are found.
namespace tavi::stations_maintenance {

inline constexpr char const* stations_maintenance_service_name = "stations_maintenance_service";

namespace operation_names {

inline constexpr char const* get_configuration = "get_configuration";
inline constexpr char const* set_configuration = "set_configuration";
inline constexpr char const* get_firmwares = "get_firmwares";
inline constexpr char const* store_firmware = "store_firmware";
inline constexpr char const* get_firmware = "get_firmware";
inline constexpr char const* delete_firmware = "delete_firmware";
inline constexpr char const* get_charging_station_firmware = "get_charging_station_firmware";
inline constexpr char const* delete_diagnostic_reports = "delete_diagnostic_reports";
inline constexpr char const* get_diagnostic_reports = "get_diagnostic_reports";
inline constexpr char const* export_diagnostic_reports = "export_diagnostic_reports";
inline constexpr char const* get_station_diagnostic_reports = "get_station_diagnostic_reports";
inline constexpr char const* generate_station_diagnostic_report = "generate_station_diagnostic_report";
inline constexpr char const* get_diagnostics_folder_path = "get_diagnostics_folder_path";

}  // namespace operation_names

}  // namespace tavi::stations_maintenance
