#include "stations_maintenance_req_handler.h"

#include <chrono>

#include "diagnostic_manager.h"
#include "fw_storage_mgr.h"
#include "stations_maintenance/stations_maintenance_service.h"

namespace tavi::stations_maintenance {

stations_maintenance_req_handler::stations_maintenance_req_handler(stations_maintenance_service& owner,
                                                                   diagnostic_manager& reports,
                                                                   fw_storage_mgr& firmwares)
    : service(owner), diagnostics(reports), firmware_storage(firmwares) {
}

std::optional<stations_maintenance_configuration> stations_maintenance_req_handler::on_get_configuration() {
  return stations_maintenance_configuration{diagnostics.get_max_periodic_report(),
                                            diagnostics.is_periodic_generation_allowed(),
                                            diagnostics.get_generation_period()};
}

bool stations_maintenance_req_handler::on_set_configuration(
    stations_maintenance_configuration const& configuration) {
  auto const wanted =
      configuration.periodic_generation_enabled ? configuration : stations_maintenance_configuration{};
  unsigned int const max = wanted.max_periodic_report_per_station;
  auto const period = wanted.period_for_automatic_generation;
  if (!service.update_period_generation(period) || !service.update_max_periodic_diagnostic(max)) {
    return false;
  }
  auto const is_applied = diagnostics.update_period_generation(period);
  diagnostics.update_max_periodic_diagnostic(max);
  return is_applied;
}

std::optional<std::vector<station_firmware_info>> stations_maintenance_req_handler::on_get_firmwares() {
  return firmware_storage.get_all_firmwares();
}

store_firmware_result stations_maintenance_req_handler::on_store_firmware(station_firmware_desc const& desc,
                                                                          std::string& out_text,
                                                                          unsigned int& out_value) {
  return firmware_storage.on_request_add_firmware(desc.version, desc.models, out_text, out_value);
}

std::optional<station_firmware_info> stations_maintenance_req_handler::on_get_firmware(
    unsigned int const& firmware_id) {
  return firmware_storage.get_firmware_from_id(firmware_id);
}

delete_firmware_result stations_maintenance_req_handler::on_delete_firmware(unsigned int const& firmware_id) {
  return firmware_storage.delete_firmware(firmware_id);
}

std::optional<std::vector<station_firmware_info>>
stations_maintenance_req_handler::on_get_charging_station_firmware(unsigned int const& station_id) {
  return firmware_storage.get_available_firmware_for_station(station_id);
}

delete_reports_result stations_maintenance_req_handler::on_delete_diagnostic_reports(
    diagnostic_report_filter const& filter) {
  return diagnostics.remove_diagnostic_reports(filter);
}

std::optional<std::vector<diagnostic_report_info>>
stations_maintenance_req_handler::on_get_diagnostic_reports() {
  return diagnostics.get_diagnostic_reports(std::nullopt);
}

bool stations_maintenance_req_handler::on_export_diagnostic_reports(diagnostic_report_filter const& filter,
                                                                    std::string const& destination) {
  // Callers get an error flag, while the manager tells success.
  return !diagnostics.export_diagnostic_reports(filter, destination);
}

std::optional<std::vector<diagnostic_report_info>>
stations_maintenance_req_handler::on_get_station_diagnostic_reports(unsigned int const& station_id) {
  return diagnostics.get_diagnostic_reports(station_id);
}

generation_result stations_maintenance_req_handler::on_generate_station_diagnostic_report(
    unsigned int const& station_id, diagnostic_report_type const& type, unsigned int& request_out) {
  return diagnostics.generate_single_diagnostic(station_id, type, request_out);
}

std::string stations_maintenance_req_handler::on_get_diagnostics_folder_path() {
  return diagnostics.get_storage_directory();
}

std::string stations_maintenance_req_handler::on_get_working_directory() {
  return service.working_dir();
}

std::optional<std::string> stations_maintenance_req_handler::on_get_firmware_file(
    unsigned int const& firmware_id) {
  auto const firmware = firmware_storage.get_firmware_from_id(firmware_id);
  if (!firmware || firmware->path.empty()) {
    return std::nullopt;
  }
  return firmware_storage.convert_uri_to_path(firmware->path).string();
}

}  // namespace tavi::stations_maintenance
