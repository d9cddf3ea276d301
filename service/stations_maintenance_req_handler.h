#pragma once

#include <optional>
#include <string>
#include <vector>

#include "stations_maintenance/i_req_resp_stations_maintenance_service_handler.h"

namespace tavi::stations_maintenance {

class diagnostic_manager;
class fw_storage_mgr;
class stations_maintenance_service;

/// Hands each request to the part of the service that decides it, and its answer back as it is.
///
/// Keeps no state, takes no lock and logs nothing. Called on the request server's thread, while the service's
/// turn is held.
class stations_maintenance_req_handler : public i_req_resp_stations_maintenance_service_handler {
 public:
  /// Stores the references; all of them must outlive the handler. Nothing is called.
  stations_maintenance_req_handler(stations_maintenance_service& owner, diagnostic_manager& reports,
                                   fw_storage_mgr& firmwares);

  std::optional<stations_maintenance_configuration> on_get_configuration() override;
  /// Saves period, then maximum, then applies both.
  /// @return false at the first step that fails; what was saved by then stays saved
  bool on_set_configuration(stations_maintenance_configuration const& configuration) override;
  std::optional<std::vector<station_firmware_info>> on_get_firmwares() override;
  store_firmware_result on_store_firmware(station_firmware_desc const& desc, std::string& out_text,
                                          unsigned int& out_value) override;
  std::optional<station_firmware_info> on_get_firmware(unsigned int const& firmware_id) override;
  delete_firmware_result on_delete_firmware(unsigned int const& firmware_id) override;
  std::optional<std::vector<station_firmware_info>> on_get_charging_station_firmware(
      unsigned int const& station_id) override;
  delete_reports_result on_delete_diagnostic_reports(diagnostic_report_filter const& filter) override;
  std::optional<std::vector<diagnostic_report_info>> on_get_diagnostic_reports() override;
  bool on_export_diagnostic_reports(diagnostic_report_filter const& filter,
                                    std::string const& destination) override;
  std::optional<std::vector<diagnostic_report_info>> on_get_station_diagnostic_reports(
      unsigned int const& station_id) override;
  generation_result on_generate_station_diagnostic_report(unsigned int const& station_id,
                                                          diagnostic_report_type const& type,
                                                          unsigned int& request_out) override;
  std::string on_get_diagnostics_folder_path() override;
  std::string on_get_working_directory() override;
  std::optional<std::string> on_get_firmware_file(unsigned int const& firmware_id) override;

 private:
  stations_maintenance_service& service;
  diagnostic_manager& diagnostics;
  fw_storage_mgr& firmware_storage;
};

}  // namespace tavi::stations_maintenance
