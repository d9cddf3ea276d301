#include "stations_maintenance/req_resp_stations_maintenance_service.h"

#include "mura_common/ipc_typed.h"
#include "stations_maintenance/i_req_resp_stations_maintenance_service_handler.h"

namespace tavi::stations_maintenance {

namespace {

using client = req_resp_stations_maintenance_service;
using handler = i_req_resp_stations_maintenance_service_handler;
using mura_common::request_client;
using mura_common::try_call;

constexpr char const* const service_name = mura_common::ipc_interface<handler>::service;

}  // namespace

struct req_resp_stations_maintenance_service::members {
  explicit members(call_limits const& limits)
      : patience(limits.start), queries(service_name, limits.query), stations(service_name, limits.station) {}

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
  return try_call<&handler::on_get_configuration>(own->queries);
}

client::answer<bool> client::set_configuration(stations_maintenance_configuration const& configuration) {
  return try_call<&handler::on_set_configuration>(own->queries, configuration);
}

client::answer<std::optional<std::vector<station_firmware_info>>> client::get_firmwares() {
  return try_call<&handler::on_get_firmwares>(own->queries);
}

client::answer<store_firmware_result> client::store_firmware(station_firmware_desc const& desc,
                                                             std::string& upload_uri,
                                                             unsigned int& firmware_id) {
  return try_call<&handler::on_store_firmware>(own->queries, desc, upload_uri, firmware_id);
}

client::answer<std::optional<station_firmware_info>> client::get_firmware(unsigned int firmware_id) {
  return try_call<&handler::on_get_firmware>(own->queries, firmware_id);
}

client::answer<delete_firmware_result> client::delete_firmware(unsigned int firmware_id) {
  return try_call<&handler::on_delete_firmware>(own->queries, firmware_id);
}

client::answer<std::optional<std::vector<station_firmware_info>>> client::get_charging_station_firmware(
    unsigned int station_id) {
  return try_call<&handler::on_get_charging_station_firmware>(own->queries, station_id);
}

client::answer<delete_reports_result> client::delete_diagnostic_reports(
    diagnostic_report_filter const& filter, std::chrono::milliseconds time_out) {
  request_client bulk(service_name, time_out);
  return try_call<&handler::on_delete_diagnostic_reports>(bulk, filter);
}

client::answer<std::optional<std::vector<diagnostic_report_info>>> client::get_diagnostic_reports() {
  return try_call<&handler::on_get_diagnostic_reports>(own->queries);
}

client::answer<bool> client::export_diagnostic_reports(diagnostic_report_filter const& filter,
                                                       std::string const& destination,
                                                       std::chrono::milliseconds time_out) {
  request_client bulk(service_name, time_out);
  return try_call<&handler::on_export_diagnostic_reports>(bulk, filter, destination);
}

client::answer<std::optional<std::vector<diagnostic_report_info>>> client::get_station_diagnostic_reports(
    unsigned int station_id) {
  return try_call<&handler::on_get_station_diagnostic_reports>(own->queries, station_id);
}

client::answer<generation_result> client::generate_station_diagnostic_report(unsigned int station_id,
                                                                             diagnostic_report_type type,
                                                                             unsigned int& request) {
  return try_call<&handler::on_generate_station_diagnostic_report>(own->stations, station_id, type, request);
}

client::answer<std::string> client::get_diagnostics_folder_path() {
  return try_call<&handler::on_get_diagnostics_folder_path>(own->queries);
}

client::answer<std::string> client::get_working_directory() {
  return try_call<&handler::on_get_working_directory>(own->queries);
}

client::answer<std::optional<std::string>> client::get_firmware_file(unsigned int firmware_id) {
  return try_call<&handler::on_get_firmware_file>(own->queries, firmware_id);
}

}  // namespace tavi::stations_maintenance
