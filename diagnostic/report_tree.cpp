#include "report_tree.h"

#include <filesystem>
#include <system_error>
#include <utility>

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

}  // namespace

report_tree::report_tree(std::string working, std::string storage, std::string station_prefix)
    : working_dir(std::move(working)),
      storage_directory(std::move(storage)),
      station_dir_prefix(std::move(station_prefix)) {
}

std::string report_tree::get_station_directory(unsigned int station_id) const {
  auto directory = fs::path(working_dir) / storage_directory / station_dir_prefix;
  directory += std::to_string(station_id);
  return directory.string();
}

std::string report_tree::get_type_directory(unsigned int station_id, diagnostic_report_type type) const {
  fs::path directory = get_station_directory(station_id);
  if (type == diagnostic_report_type::manual) {
    directory /= "manual_reports/";
  } else if (type == diagnostic_report_type::periodic) {
    directory /= "periodic_reports/";
  }
  return directory.string();
}

std::string report_tree::get_report_file(unsigned int station_id, diagnostic_report_type type,
                                         std::optional<int> index, std::string const& file_name) const {
  fs::path file = get_type_directory(station_id, type);
  if (index) {
    file /= std::to_string(*index);
    file += "_";
  }
  file += file_name;
  return file.string();
}

bool report_tree::make_root() const {
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

bool report_tree::make_station_directories(unsigned int station_id) const {
  if (!is_known(station_id)) {
    return false;
  }
  fs::path const station_directory = get_station_directory(station_id);
  std::error_code error;
  if (fs::exists(station_directory, error)) {
    return true;
  }
  spdlog::info("[diagnostic_manager] Creating directories for the diagnostic report of station {}",
               station_id);
  // Each is tried, whatever became of those before it.
  auto const station_made = fs::create_directory(station_directory, error);
  auto const manual_made =
      fs::create_directory(get_type_directory(station_id, diagnostic_report_type::manual), error);
  auto const periodic_made =
      fs::create_directory(get_type_directory(station_id, diagnostic_report_type::periodic), error);
  flush_folders_from(station_directory, station_directory.parent_path());
  return station_made && manual_made && periodic_made;
}

void report_tree::remove_station_directory(unsigned int station_id) const {
  if (is_known(station_id)) {
    std::error_code ignored;
    fs::remove_all(get_station_directory(station_id), ignored);
  }
}

std::uint64_t report_tree::total_size() const {
  std::uint64_t sum = 0;
  std::error_code error;
  // An error on the way is thrown, for half a sum would admit too much.
  for (auto const& entry :
       fs::recursive_directory_iterator(fs::path(working_dir) / storage_directory, error)) {
    std::error_code entry_error;
    if (!entry.is_regular_file(entry_error)) {
      continue;
    }
    auto const size = entry.file_size(entry_error);
    if (!entry_error) {
      sum += size;
    }
  }
  return sum;
}

std::vector<std::string> report_tree::files() const {
  std::vector<std::string> found;
  std::error_code error;
  // An error on the way is thrown, for what was not reached must not be judged.
  for (auto const& entry :
       fs::recursive_directory_iterator(fs::path(working_dir) / storage_directory, error)) {
    std::error_code entry_error;
    if (entry.status(entry_error).type() != fs::file_type::directory) {
      found.push_back(entry.path().string());
    }
  }
  return found;
}

bool report_tree::is_known(unsigned int station_id) const {
  if (storage_directory.empty()) {
    spdlog::debug("[diagnostic_manager] Leaving directories of station {} alone, no storage directory is set",
                  station_id);
  }
  return !storage_directory.empty();
}

}  // namespace tavi::stations_maintenance
