#include "report_check.h"

#include <algorithm>
#include <filesystem>
#include <iterator>
#include <string>
#include <unordered_set>
#include <vector>

#include <spdlog/spdlog.h>

namespace tavi::stations_maintenance {

namespace fs = std::filesystem;

namespace {

/// The paths at which nothing is found, in their order.
std::vector<std::string> missing_of(std::vector<std::string> const& paths) {
  std::vector<std::string> missing;
  std::copy_if(paths.begin(), paths.end(), std::back_inserter(missing), [](std::string const& path) {
    std::error_code error;
    return !fs::exists(path, error);
  });
  return missing;
}

void log_row_that_stays(std::string const& path) {
  spdlog::error("[diagnostic_manager] Can't remove file {} from database.", path);
}

void delete_rows_without_file(diagnostic_table& table, std::vector<std::string> const& recorded) {
  auto const missing = missing_of(recorded);
  if (missing.empty()) {
    return;
  }
  std::vector<std::string> deleted;
  auto deletions = table.begin_deletions();
  for (auto const& path : missing) {
    spdlog::info(
        "[diagnostic_manager] File {} stored in database but can't be found in the directory. "
        "Removing it from database.",
        path);
    if (table.delete_diagnostic_report_for_path(path)) {
      deleted.push_back(path);
    } else {
      log_row_that_stays(path);
    }
  }
  if (!deletions.commit()) {
    std::for_each(deleted.begin(), deleted.end(), log_row_that_stays);
  }
}

void delete_files_without_row(std::vector<std::string> const& files,
                              std::vector<std::string> const& recorded) {
  // Texts are compared, not places: a path that was stored in another form does not save its file.
  std::unordered_set<std::string> const known(recorded.begin(), recorded.end());
  for (auto const& path : files) {
    if (known.contains(path)) {
      continue;
    }
    spdlog::info(
        "[diagnostic_manager] File {} stored in directory but can't be found in the database. "
        "Removing it from the directory.",
        path);
    std::error_code error;
    if (!fs::remove(path, error)) {
      spdlog::error("[diagnostic_manager] Can't remove file {} from directory.", path);
    }
  }
}

/// @return whether nothing of the station is left
bool delete_unknown_station(diagnostic_table& table, report_tree const& tree, unsigned int station_id) {
  if (!table.delete_diagnostic_reports_for_station(station_id)) {
    return false;
  }
  auto const directory = tree.get_station_directory(station_id);
  std::error_code error;
  if (fs::exists(directory, error)) {
    auto const removed = fs::remove_all(directory, error);
    complain_of_removal(station_id, removed, error);
  }
  return !fs::exists(directory, error);
}

}  // namespace

void check_reports(diagnostic_table& table, report_tree const& tree,
                   tavi::ocpp1_6::i_req_resp_ocpp_1_6_service& ocpp_service) {
  auto is_every_row_known = false;
  auto const recorded = table.get_all_diagnostics_path(is_every_row_known);
  delete_rows_without_file(table, recorded);
  auto const files = tree.files();
  if (is_every_row_known) {
    delete_files_without_row(files, recorded);
  } else {
    spdlog::error(
        "[diagnostic_manager] Can't read which files are stored in database. "
        "No file is removed from the directory for want of a row.");
  }
  // Stations that need no further look: known ones, and unknown ones of which nothing is left.
  std::unordered_set<unsigned int> settled;
  for (auto const& station : ocpp_service.get_charging_stations()) {
    settled.insert(station.id);
  }
  for (auto const& report : table.get_all_diagnostics()) {
    if (!settled.contains(report.station_id) && delete_unknown_station(table, tree, report.station_id)) {
      settled.insert(report.station_id);
    }
  }
}

void complain_of_removal(unsigned int station_id, std::uintmax_t removed, std::error_code const& error) {
  if (removed == 0) {
    spdlog::error(
        "[diagnostic_manager] Can't remove directory for non existing station {} from directory. "
        "Error : {}",
        station_id, error.message());
  }
}

}  // namespace tavi::stations_maintenance
