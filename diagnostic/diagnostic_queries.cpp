#include <algorithm>
#include <cstddef>

#include <spdlog/spdlog.h>

#include "diagnostic_manager.h"
#include "mura_common/zipper.h"
#include "stations_maintenance/diagnostic_report_filter.h"

namespace tavi::stations_maintenance {

namespace {

/// Most files that the archiver is given at once.
constexpr std::size_t batch_size = 50;

}  // namespace

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

std::uint32_t diagnostic_manager::remove_diagnostic_reports(diagnostic_report_filter const& filter) {
  auto const paths = diag_table.get_list_of_diagnostics_path(filter.diagnostic_ids);
  if (paths.empty()) {
    spdlog::warn("[diagnostic_manager] No diagnostic found with the given filter");
    return nothing_to_remove;
  }
  std::uint32_t code = 0;
  for (auto const& path : paths) {
    if (!remove_diagnostic(path)) {
      spdlog::error("[diagnostic_manager] Error occurred while deleting diagnostic {}", path);
      code = not_all_removed;
    }
  }
  return code;
}

bool diagnostic_manager::export_diagnostic_reports(diagnostic_report_filter const& filter,
                                                   std::string const& destination) {
  auto const paths = diag_table.get_list_of_diagnostics_path(filter.diagnostic_ids);
  if (paths.empty()) {
    spdlog::warn("[diagnostic_manager] No diagnostic report to export");
  }
  auto result = false;
  for (std::size_t first = 0; first < paths.size(); first += batch_size) {
    auto const end = std::min(first + batch_size, paths.size());
    mura_common::zipper zipper(zip_command, zsh_command);
    for (auto index = first; index < end; ++index) {
      zipper.add_file(paths[index]);
    }
    // One batch in the archive is an export, whatever became of the others.
    result = zipper.zip_from_folder_cd_workdir(working_dir, destination) || result;
  }
  return result;
}

}  // namespace tavi::stations_maintenance
