#include <algorithm>
#include <filesystem>
#include <iterator>
#include <system_error>
#include <unordered_set>

#include <spdlog/spdlog.h>

#include "diagnostic_manager.h"
#include "removal_complaint.h"

namespace tavi::stations_maintenance {

namespace fs = std::filesystem;

namespace {

/// Everything below `root` that is no directory, in the order of the walk. What cannot be looked at counts as
/// a file. An unreadable root gives an empty walk; an error on the way is thrown, for what was not reached
/// must not be judged.
std::vector<std::string> files_below(fs::path const& root) {
  std::vector<std::string> files;
  std::error_code error;
  for (auto const& entry : fs::recursive_directory_iterator(root, error)) {
    std::error_code entry_error;
    if (entry.status(entry_error).type() != fs::file_type::directory) {
      files.push_back(entry.path().string());
    }
  }
  return files;
}

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

}  // namespace

void diagnostic_manager::check_sanity() {
  auto is_every_row_known = false;
  auto const recorded = diag_table.get_all_diagnostics_path(is_every_row_known);
  delete_rows_without_file(recorded);
  auto const files = files_below(fs::path(working_dir) / storage_directory);
  if (is_every_row_known) {
    delete_files_without_row(files, recorded);
  } else {
    spdlog::error(
        "[diagnostic_manager] Can't read which files are stored in database. No file is removed from the "
        "directory "
        "for want of a row.");
  }
  delete_reports_of_unknown_stations();
}

void diagnostic_manager::delete_rows_without_file(std::vector<std::string> const& recorded) {
  auto const missing = missing_of(recorded);
  if (missing.empty()) {
    return;
  }
  std::vector<std::string> deleted;
  diag_table.begin_deletions();
  for (auto const& path : missing) {
    spdlog::info(
        "[diagnostic_manager] File {} stored in database but can't be found in the directory. Removing it "
        "from database.",
        path);
    if (diag_table.delete_diagnostic_report_for_path(path)) {
      deleted.push_back(path);
    } else {
      log_row_that_stays(path);
    }
  }
  if (!diag_table.end_deletions()) {
    std::for_each(deleted.begin(), deleted.end(), log_row_that_stays);
  }
}

void diagnostic_manager::delete_files_without_row(std::vector<std::string> const& files,
                                                  std::vector<std::string> const& recorded) {
  // Texts are compared, not places: a path that was stored in another form does not save its file.
  std::unordered_set<std::string> const known(recorded.begin(), recorded.end());
  for (auto const& path : files) {
    if (known.contains(path)) {
      continue;
    }
    spdlog::info(
        "[diagnostic_manager] File {} stored in directory but can't be found in the database. Removing it "
        "from the directory.",
        path);
    std::error_code error;
    if (!fs::remove(path, error)) {
      spdlog::error("[diagnostic_manager] Can't remove file {} from directory.", path);
    }
  }
}

void diagnostic_manager::delete_reports_of_unknown_stations() {
  // Stations that need no further look: known ones, and unknown ones of which nothing is left.
  std::unordered_set<unsigned int> settled;
  for (auto const& station : ocpp_service.get_charging_stations()) {
    settled.insert(station.id);
  }
  for (auto const& report : diag_table.get_all_diagnostics()) {
    if (!settled.contains(report.station_id) && delete_unknown_station(report.station_id)) {
      settled.insert(report.station_id);
    }
  }
}

bool diagnostic_manager::delete_unknown_station(unsigned int station_id) {
  if (!diag_table.delete_diagnostic_reports_for_station(station_id)) {
    return false;
  }
  auto const directory = get_directory_path_station_name(station_id);
  std::error_code error;
  if (fs::exists(directory, error)) {
    auto const removed = fs::remove_all(directory, error);
    complain_of_removal(station_id, removed, error);
  }
  return !fs::exists(directory, error);
}

}  // namespace tavi::stations_maintenance
