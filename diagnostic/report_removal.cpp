#include "report_removal.h"

#include <filesystem>
#include <system_error>

#include <spdlog/spdlog.h>

namespace tavi::stations_maintenance {

bool remove_report(diagnostic_table& table, std::string const& full_path) {
  std::error_code ignored;
  auto const file_removed = std::filesystem::remove(full_path, ignored);
  auto const row_deleted = table.delete_diagnostic_report_for_path(full_path);
  return file_removed && row_deleted;
}

delete_reports_result remove_reports(diagnostic_table& table, std::vector<int> const& diagnostic_ids) {
  auto const paths = table.get_list_of_diagnostics_path(diagnostic_ids);
  if (paths.empty()) {
    spdlog::warn("[diagnostic_manager] No diagnostic found with the given filter");
    return delete_reports_result::none_matched;
  }
  auto code = delete_reports_result::deleted;
  for (auto const& path : paths) {
    if (!remove_report(table, path)) {
      spdlog::error("[diagnostic_manager] Error occurred while deleting diagnostic {}", path);
      code = delete_reports_result::not_all_deleted;
    }
  }
  return code;
}

bool remove_station_reports(diagnostic_table& table, report_tree const& tree, unsigned int station_id) {
  auto const deleted = table.delete_diagnostic_reports_for_station(station_id);
  tree.remove_station_directory(station_id);
  return deleted;
}

}  // namespace tavi::stations_maintenance
