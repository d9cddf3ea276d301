#include "diagnostic_manager.h"

#include <filesystem>
#include <system_error>

#include <spdlog/spdlog.h>

#include "mura_common/file.h"

namespace tavi::stations_maintenance {

namespace fs = std::filesystem;

namespace {

/// Makes the entries of new directories last, up to `oldest`, which was there before: a report is only as
/// durable as the directories above it. One that cannot be flushed is no reason to refuse the report.
void flush_folders_from(fs::path folder, fs::path const& oldest) {
  std::error_code ignored;
  static_cast<void>(mura_common::flush_folder(folder, ignored));
  while (folder != oldest && folder.has_relative_path()) {
    folder = folder.parent_path();
    static_cast<void>(mura_common::flush_folder(folder, ignored));
  }
}

/// Whether there is a tree in which a station can have directories. Without one, as after a failed start,
/// their paths would begin in the current directory, which holds whatever it holds.
bool is_tree_known(std::string const& storage_directory, unsigned int station_id) {
  if (storage_directory.empty()) {
    spdlog::debug("[diagnostic_manager] Leaving directories of station {} alone, no storage directory is set",
                  station_id);
  }
  return !storage_directory.empty();
}

}  // namespace

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
  max_periodic_reports = max_periodic;
  max_manual_reports = max_manual;
  generation_period = period;
  max_total_directory_size = max_total_size;
  storage_directory = storage;
  zip_command = zip;
  zsh_command = zsh;
  working_dir = working;
  update_max_manual_diagnostic(max_manual);
  update_max_periodic_diagnostic(max_periodic);

  std::error_code error;
  // Looked for in the current directory, made below the working directory: see the header.
  if (fs::exists(storage_directory, error)) {
    return true;
  }
  auto const root = fs::path(working_dir) / storage_directory;
  if (fs::create_directories(root, error) && fs::exists(root, error)) {
    flush_folders_from(root, working_dir);
    return true;
  }
  spdlog::error("[diagnostic_manager] Can't create directory {} for diagnostic reports", root.string());
  return false;
}

std::string diagnostic_manager::get_directory_path_station_name(unsigned int const& station_id) const {
  fs::path directory;
  directory /= working_dir;
  directory /= storage_directory;
  directory /= station_dir_prefix;
  directory += std::to_string(station_id);
  return directory.string();
}

std::string diagnostic_manager::get_specific_diagnostic_path(unsigned int const& station_id,
                                                             diagnostic_report_type type) const {
  fs::path directory = get_directory_path_station_name(station_id);
  if (type == diagnostic_report_type::manual) {
    directory /= "manual_reports/";
  } else if (type == diagnostic_report_type::periodic) {
    directory /= "periodic_reports/";
  }
  return directory.string();
}

std::string diagnostic_manager::get_full_path(unsigned int const& station_id,
                                              diagnostic_report_type const& type,
                                              std::optional<int> const& index,
                                              std::string const& file_name) const {
  fs::path file = get_specific_diagnostic_path(station_id, type);
  if (index) {
    file /= std::to_string(*index);
    file += "_";
  }
  file += file_name;
  return file.string();
}

bool diagnostic_manager::create_diagnostic_directory_for_station(unsigned int const& station_id) {
  if (!is_tree_known(storage_directory, station_id)) {
    return false;
  }
  auto const station_directory = get_directory_path_station_name(station_id);
  std::error_code error;
  if (fs::exists(station_directory, error)) {
    return true;
  }
  spdlog::info("[diagnostic_manager] Creating directories for the diagnostic report of station {}",
               station_id);
  auto const manual_directory = get_specific_diagnostic_path(station_id, diagnostic_report_type::manual);
  auto const periodic_directory = get_specific_diagnostic_path(station_id, diagnostic_report_type::periodic);
  auto const station_made = fs::create_directory(station_directory, error);
  auto const manual_made = fs::create_directory(manual_directory, error);
  auto const periodic_made = fs::create_directory(periodic_directory, error);

  flush_folders_from(station_directory, fs::path(station_directory).parent_path());
  return station_made && manual_made && periodic_made;
}

bool diagnostic_manager::remove_station(unsigned int const& station_id) {
  auto const deleted = diag_table.delete_diagnostic_reports_for_station(station_id);
  if (is_tree_known(storage_directory, station_id)) {
    std::error_code ignored;
    fs::remove_all(get_directory_path_station_name(station_id), ignored);
  }
  return deleted;
}

bool diagnostic_manager::remove_diagnostic(std::string const& full_path) {
  std::error_code ignored;
  auto const file_removed = fs::remove(full_path, ignored);
  auto const row_deleted = diag_table.delete_diagnostic_report_for_path(full_path);
  return file_removed && row_deleted;
}

}  // namespace tavi::stations_maintenance
