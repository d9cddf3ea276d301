#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <tuple>
#include <vector>

#include "mura_common/ipc_interface.h"
#include "stations_maintenance/diagnostic_report.h"
#include "stations_maintenance/diagnostic_report_filter.h"
#include "stations_maintenance/export.h"
#include "stations_maintenance/result_codes.h"
#include "stations_maintenance/station_firmware_desc.h"
#include "stations_maintenance/station_firmware_info.h"
#include "stations_maintenance/stations_maintenance_configuration.h"

namespace tavi::stations_maintenance {

/// The requests that the stations maintenance service answers.
///
/// Implemented by the service and called by its request server, one operation at a time, on the server's
/// thread. An exception out of an operation reaches the caller as a failed request.
class STATIONS_MAINTENANCE_EXPORT i_req_resp_stations_maintenance_service_handler {
 public:
  virtual ~i_req_resp_stations_maintenance_service_handler() = default;

  // --- configuration --------------------------------------------------------------------------------------

  /// The run-time configuration in force. @return always present
  virtual std::optional<stations_maintenance_configuration> on_get_configuration() = 0;
  /// Saves a new run-time configuration and applies it.
  /// @return false when a value is refused, as a negative period is, or cannot be saved, or generation
  ///         cannot be restarted; what was saved until then stays saved
  virtual bool on_set_configuration(stations_maintenance_configuration const& configuration) = 0;

  // --- firmware -------------------------------------------------------------------------------------------

  /// Every firmware: stored and announced ones, then those whose upload failed. @return absent when they
  /// cannot be read
  virtual std::optional<std::vector<station_firmware_info>> on_get_firmwares() = 0;
  /// Announces a firmware, whose file has then to be uploaded before the upload time-out.
  /// @param desc       version and models
  /// @param out_text   receives where to upload to: "/upload/" and a token, below the controller's address;
  ///                   meaningful when announced
  /// @param out_value  receives the id of the new firmware; meaningful when announced
  virtual store_firmware_result on_store_firmware(station_firmware_desc const& desc, std::string& out_text,
                                                  unsigned int& out_value) = 0;
  /// One firmware, a failed upload included. @return absent when there is none with this id
  virtual std::optional<station_firmware_info> on_get_firmware(unsigned int const& firmware_id) = 0;
  /// Deletes a firmware with its file, ends a pending upload, or forgets a failed one.
  virtual delete_firmware_result on_delete_firmware(unsigned int const& firmware_id) = 0;
  /// The complete firmware that fit a station's model, from none to many.
  /// @return absent when the station or its model is not known, the OCPP service gave no answer, or the
  ///         firmware cannot be read
  virtual std::optional<std::vector<station_firmware_info>> on_get_charging_station_firmware(
      unsigned int const& station_id) = 0;

  // --- diagnostic reports ---------------------------------------------------------------------------------

  /// Deletes the chosen reports.
  virtual delete_reports_result on_delete_diagnostic_reports(diagnostic_report_filter const& filter) = 0;
  /// Every stored report. @return always present; empty also when they cannot be read
  virtual std::optional<std::vector<diagnostic_report_info>> on_get_diagnostic_reports() = 0;
  /// Packs the chosen reports into a zip archive.
  /// @param destination  path of the archive on the controller; an existing one gains the reports
  /// @return an error flag: true exactly when the export failed, false when it succeeded
  virtual bool on_export_diagnostic_reports(diagnostic_report_filter const& filter,
                                            std::string const& destination) = 0;
  /// The stored reports of a station, from none to many.
  /// @return absent when the station is not known or the OCPP service gave no answer; empty also when the
  ///         reports cannot be read
  virtual std::optional<std::vector<diagnostic_report_info>> on_get_station_diagnostic_reports(
      unsigned int const& station_id) = 0;
  /// Asks a station for a report; the upload follows later, or never.
  /// @param type         which limit the report counts against
  /// @param request_out  receives the number of the request to the station; meaningful when accepted
  virtual generation_result on_generate_station_diagnostic_report(unsigned int const& station_id,
                                                                  diagnostic_report_type const& type,
                                                                  unsigned int& request_out) = 0;
  /// The configured storage directory of the reports; a relative one lies below the service's working
  /// directory.
  virtual std::string on_get_diagnostics_folder_path() = 0;

  // --- places on the controller ---------------------------------------------------------------------------

  /// The absolute folder from which the service's relative paths count: that of the reports, of an export.
  virtual std::string on_get_working_directory() = 0;
  /// Where the file of a stored firmware really lies. What the other operations give as its `path` begins with
  /// "/" also when the service's firmware folder is a relative one, and cannot be opened then.
  /// @return an absolute path; absent when there is no firmware with this id or it has no file
  virtual std::optional<std::string> on_get_firmware_file(unsigned int const& firmware_id) = 0;
};

}  // namespace tavi::stations_maintenance

/// The names by which the operations travel, for the service and for its clients.
template <>
struct mura_common::ipc_interface<
    tavi::stations_maintenance::i_req_resp_stations_maintenance_service_handler> {
  using handler = tavi::stations_maintenance::i_req_resp_stations_maintenance_service_handler;
  static constexpr char const* service = "stations_maintenance_service";
  static constexpr std::tuple operations{
      ipc_operation<&handler::on_get_configuration>{"get_configuration"},
      ipc_operation<&handler::on_set_configuration>{"set_configuration"},
      ipc_operation<&handler::on_get_firmwares>{"get_firmwares"},
      ipc_operation<&handler::on_store_firmware>{"store_firmware"},
      ipc_operation<&handler::on_get_firmware>{"get_firmware"},
      ipc_operation<&handler::on_delete_firmware>{"delete_firmware"},
      ipc_operation<&handler::on_get_charging_station_firmware>{"get_charging_station_firmware"},
      ipc_operation<&handler::on_delete_diagnostic_reports>{"delete_diagnostic_reports"},
      ipc_operation<&handler::on_get_diagnostic_reports>{"get_diagnostic_reports"},
      ipc_operation<&handler::on_export_diagnostic_reports>{"export_diagnostic_reports"},
      ipc_operation<&handler::on_get_station_diagnostic_reports>{"get_station_diagnostic_reports"},
      ipc_operation<&handler::on_generate_station_diagnostic_report>{"generate_station_diagnostic_report"},
      ipc_operation<&handler::on_get_diagnostics_folder_path>{"get_diagnostics_folder_path"},
      ipc_operation<&handler::on_get_working_directory>{"get_working_directory"},
      ipc_operation<&handler::on_get_firmware_file>{"get_firmware_file"}};
};
