#include "stations_maintenance/req_resp_stations_maintenance_service.h"

#include "mura_common/ipc_typed.h"
#include "operation_names.h"
#include "record_fields.h"
#include "stations_maintenance/i_req_resp_stations_maintenance_service_handler.h"

namespace tavi::stations_maintenance {

namespace {

using client = req_resp_stations_maintenance_service;
using handler = i_req_resp_stations_maintenance_service_handler;
namespace names = operation_names;
using mura_common::request_client;
using mura_common::try_call;

}  // namespace

struct req_resp_stations_maintenance_service::members {
  explicit members(call_limits const& limits)
      : patience(limits.start),
        queries(stations_maintenance_service_name, limits.query),
        stations(stations_maintenance_service_name, limits.station) {}

  std::chrono::milliseconds const patience;
  request_client queries;
  request_client stations;
};

req_resp_stations_maintenance_service::req_resp_stations_maintenance_service(call_limits const& limits)
    : own(std::make_unique<members>(limits)) {
}

req_resp_stations_maintenance_service::~req_resp_stations_maintenance_service() = default;

bool client::init() {
  return own->queries.wait_for_service(own->patience);
}

client::answer<std::optional<stations_maintenance_configuration>> client::get_configuration() {
  return try_call(own->queries, names::get_configuration, &handler::on_get_configuration);
}

client::answer<bool> client::set_configuration(stations_maintenance_configuration const& configuration) {
  return try_call(own->queries, names::set_configuration, &handler::on_set_configuration, configuration);
}

client::answer<std::optional<std::vector<station_firmware_info>>> client::get_firmwares() {
  return try_call(own->queries, names::get_firmwares, &handler::on_get_firmwares);
}

client::answer<store_firmware_result> client::store_firmware(station_firmware_desc const& desc,
                                                             std::string& upload_uri,
                                                             unsigned int& firmware_id) {
  return try_call(own->queries, names::store_firmware, &handler::on_store_firmware, desc, upload_uri,
                  firmware_id);
}

client::answer<std::optional<station_firmware_info>> client::get_firmware(unsigned int firmware_id) {
  return try_call(own->queries, names::get_firmware, &handler::on_get_firmware, firmware_id);
}

client::answer<delete_firmware_result> client::delete_firmware(unsigned int firmware_id) {
  return try_call(own->queries, names::delete_firmware, &handler::on_delete_firmware, firmware_id);
}

client::answer<std::optional<std::vector<station_firmware_info>>> client::get_charging_station_firmware(
    unsigned int station_id) {
  return try_call(own->queries, names::get_charging_station_firmware,
                  &handler::on_get_charging_station_firmware, station_id);
}

client::answer<delete_reports_result> client::delete_diagnostic_reports(
    diagnostic_report_filter const& filter, std::chrono::milliseconds time_out) {
  request_client bulk(stations_maintenance_service_name, time_out);
  return try_call(bulk, names::delete_diagnostic_reports, &handler::on_delete_diagnostic_reports, filter);
}

client::answer<std::optional<std::vector<diagnostic_report_info>>> client::get_diagnostic_reports() {
  return try_call(own->queries, names::get_diagnostic_reports, &handler::on_get_diagnostic_reports);
}

client::answer<bool> client::export_diagnostic_reports(diagnostic_report_filter const& filter,
                                                       std::string const& destination,
                                                       std::chrono::milliseconds time_out) {
  request_client bulk(stations_maintenance_service_name, time_out);
  return try_call(bulk, names::export_diagnostic_reports, &handler::on_export_diagnostic_reports, filter,
                  destination);
}

client::answer<std::optional<std::vector<diagnostic_report_info>>> client::get_station_diagnostic_reports(
    unsigned int station_id) {
  return try_call(own->queries, names::get_station_diagnostic_reports,
                  &handler::on_get_station_diagnostic_reports, station_id);
}

client::answer<generation_result> client::generate_station_diagnostic_report(unsigned int station_id,
                                                                             diagnostic_report_type type,
                                                                             unsigned int& request) {
  return try_call(own->stations, names::generate_station_diagnostic_report,
                  &handler::on_generate_station_diagnostic_report, station_id, type, request);
}

client::answer<std::string> client::get_diagnostics_folder_path() {
  return try_call(own->queries, names::get_diagnostics_folder_path, &handler::on_get_diagnostics_folder_path);
}

}  // namespace tavi::stations_maintenance
