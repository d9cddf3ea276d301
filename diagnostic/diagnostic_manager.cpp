#include "diagnostic_manager.h"

#include <spdlog/spdlog.h>

#include "periodic_generation.h"
#include "report_check.h"
#include "report_eviction.h"
#include "report_export.h"
#include "report_generation.h"
#include "report_reception.h"
#include "report_removal.h"
#include "report_store.h"
#include "stations_maintenance/diagnostic_report_filter.h"

namespace tavi::stations_maintenance {

diagnostic_manager::diagnostic_manager(diagnostic_table& table,
                                       tavi::webserver_token::i_req_resp_webserver_token_service& tokens,
                                       tavi::ocpp1_6::i_req_resp_ocpp_1_6_service& ocpp,
                                       tavi::network::i_req_resp_network_service& network,
                                       tavi::logger::i_logger& logger)
    : diag_table(table),
      webserver_token_service(tokens),
      ocpp_service(ocpp),
      network_service(network),
      logger_service(logger) {
}

diagnostic_manager::~diagnostic_manager() {
  is_stopping = true;
  periodic_timer.stop_and_wait();
}

bool diagnostic_manager::init(unsigned int max_periodic, unsigned int max_manual, std::chrono::seconds period,
                              std::uint64_t max_total_size, std::string const& storage,
                              std::string const& zip, std::string const& zsh, std::string const& working) {
  generation_period = period;
  max_total_directory_size = max_total_size;
  storage_directory = storage;
  zip_command = zip;
  zsh_command = zsh;
  working_dir = working;
  update_max_manual_diagnostic(max_manual);
  update_max_periodic_diagnostic(max_periodic);
  return tree().make_root();
}

// --- generation -------------------------------------------------------------------------------------------

bool diagnostic_manager::start_periodic_generation() {
  return stations_maintenance::start_periodic_generation(
      periodic_timer, generation_period, logger_service,
      [this] { generate_all_diagnostics(diagnostic_report_type::periodic); });
}

bool diagnostic_manager::stop_periodic_generation() {
  return periodic_timer.stop();
}

bool diagnostic_manager::update_period_generation(std::chrono::seconds const& period) {
  if (!periodic_timer.stop()) {
    return false;
  }
  generation_period = period;
  return start_periodic_generation();
}

void diagnostic_manager::update_max_periodic_diagnostic(unsigned int const& max) {
  max_periodic_reports = max;
  periodic_generation_allowed = max != 0;
}

void diagnostic_manager::update_max_manual_diagnostic(unsigned int const& max) {
  max_manual_reports = max;
  manual_generation_allowed = max != 0;
}

bool diagnostic_manager::is_generation_allowed(diagnostic_report_type type) const {
  switch (type) {
    case diagnostic_report_type::manual:
      return manual_generation_allowed;
    case diagnostic_report_type::periodic:
      return periodic_generation_allowed;
  }
  return false;
}

bool diagnostic_manager::is_upload_allowed(tavi::stations::station_diagnostics_status status) {
  return report_generation::is_upload_allowed(status);
}

generation_result diagnostic_manager::generate_diagnostic(unsigned int station_id,
                                                          diagnostic_report_type const& type,
                                                          std::string const& address,
                                                          unsigned int& request_out) {
  return generation_of(type).generate(station_id, address, request_out);
}

bool diagnostic_manager::generate_all_diagnostics(diagnostic_report_type const& type) {
  return generation_of(type).generate_all();
}

generation_result diagnostic_manager::generate_single_diagnostic(unsigned int station_id,
                                                                 diagnostic_report_type const& type,
                                                                 unsigned int& request_out) {
  return generation_of(type).generate_if_allowed(station_id, request_out);
}

// --- reception --------------------------------------------------------------------------------------------

bool diagnostic_manager::is_my_token(std::string const& token) const {
  return expected_uploads.is_known(token);
}

bool diagnostic_manager::save_file(std::string const& token, std::string const& file_name,
                                   std::string const& uploaded_path) {
  return save_uploaded_report(store(), expected_uploads, token, file_name, uploaded_path);
}

bool diagnostic_manager::is_too_many_diag_for_station(std::string const& token) {
  return has_too_many_reports(store(), expected_uploads.get_or_insert(token));
}

bool diagnostic_manager::verif_size(unsigned long size) const {
  return has_room_for(store(), size);
}

bool diagnostic_manager::remove_oldest_report(std::optional<int> station_id,
                                              std::optional<diagnostic_report_type> type) {
  return remove_oldest(store(), station_id, type);
}

// --- queries, removal, export -----------------------------------------------------------------------------

std::optional<std::vector<diagnostic_report_info>> diagnostic_manager::get_diagnostic_reports(
    std::optional<unsigned int const> station_id) {
  if (!station_id) {
    return diag_table.get_all_diagnostics();
  }
  // Asked only to tell a station that is unknown from one that has no reports.
  if (!ocpp_service.get_charging_station(*station_id)) {
    spdlog::warn("[diagnostic_manager] Cannot get diagnostic report, station {} not found", *station_id);
    return std::nullopt;
  }
  return diag_table.get_diagnostics_of_station(*station_id);
}

delete_reports_result diagnostic_manager::remove_diagnostic_reports(diagnostic_report_filter const& filter) {
  return remove_reports(diag_table, filter.diagnostic_ids);
}

bool diagnostic_manager::export_diagnostic_reports(diagnostic_report_filter const& filter,
                                                   std::string const& destination) {
  return report_export{zip_command, zsh_command, working_dir}.write(
      diag_table.get_list_of_diagnostics_path(filter.diagnostic_ids), destination);
}

void diagnostic_manager::check_sanity() {
  check_reports(diag_table, tree(), ocpp_service);
}

// --- storage layout and removal ---------------------------------------------------------------------------

std::string diagnostic_manager::get_directory_path_station_name(unsigned int const& station_id) const {
  return tree().get_station_directory(station_id);
}

std::string diagnostic_manager::get_specific_diagnostic_path(unsigned int const& station_id,
                                                             diagnostic_report_type type) const {
  return tree().get_type_directory(station_id, type);
}

std::string diagnostic_manager::get_full_path(unsigned int const& station_id,
                                              diagnostic_report_type const& type,
                                              std::optional<int> const& index,
                                              std::string const& file_name) const {
  return tree().get_report_file(station_id, type, index, file_name);
}

bool diagnostic_manager::create_diagnostic_directory_for_station(unsigned int const& station_id) {
  return tree().make_station_directories(station_id);
}

bool diagnostic_manager::remove_station(unsigned int const& station_id) {
  return remove_station_reports(diag_table, tree(), station_id);
}

bool diagnostic_manager::remove_diagnostic(std::string const& full_path) {
  return remove_report(diag_table, full_path);
}

// --- what the rooms are given -----------------------------------------------------------------------------

report_tree diagnostic_manager::tree() const {
  return {working_dir, storage_directory, station_dir_prefix};
}

report_store diagnostic_manager::store() const {
  return {diag_table, tree(), {max_periodic_reports, max_manual_reports, max_total_directory_size}};
}

report_generation diagnostic_manager::generation_of(diagnostic_report_type type) {
  return {webserver_token_service,
          ocpp_service,
          network_service,
          logger_service,
          expected_uploads,
          is_stopping,
          type,
          is_generation_allowed(type)};
}

}  // namespace tavi::stations_maintenance
