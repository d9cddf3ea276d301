#include "report_eviction.h"

#include <filesystem>
#include <string>
#include <system_error>

#include <spdlog/spdlog.h>

#include "report_removal.h"

namespace tavi::stations_maintenance {

namespace {

/// Deletes the row of an oldest report whose file is not there. @param error  of looking for the file
void delete_row_without_file(diagnostic_table& table, std::string const& path, std::error_code const& error) {
  if (table.delete_diagnostic_report_for_path(path)) {
    spdlog::error(
        "[diagnostic_manager] Fail to remove oldest report file at {}. Error : {}. "
        "Oldest report has been removed from database",
        path, error.message());
  } else {
    spdlog::error(
        "[diagnostic_manager] Fail to remove oldest report file at {}. Error {}. "
        "Can't remove file from database",
        path, error.message());
  }
}

}  // namespace

bool has_too_many_reports(report_store const& store, expected_report_type const& expected) {
  return store.quota.is_count_reached(
      expected.type, store.table.count_stored_diagnostic_reports(expected.station_id, expected.type));
}

bool has_room_for(report_store const& store, std::uint64_t size) {
  auto const sum = store.tree.total_size();
  if (store.quota.has_room(sum, size)) {
    return true;
  }
  spdlog::info("[diagnostic_manager] size of {} is {}. max is {} . Can't add file with size {}",
               store.tree.get_storage_directory(), sum, store.quota.max_total_directory_size, size);
  return false;
}

bool remove_oldest(report_store const& store, std::optional<int> station_id,
                   std::optional<diagnostic_report_type> type) {
  auto const oldest = store.table.get_oldest_diagnostic(station_id, type);
  if (!oldest) {
    return false;
  }
  auto const path = store.tree.get_report_file(
      oldest->station_id, oldest->type, static_cast<int>(oldest->diagnostic_id), oldest->diagnostic_name);
  std::error_code error;
  if (!std::filesystem::exists(path, error)) {
    // Nothing was freed, so the eviction counts as failed even when the row is gone.
    delete_row_without_file(store.table, path, error);
    return false;
  }
  if (!remove_report(store.table, path)) {
    spdlog::error("[diagnostic_manager] Fail to remove oldest report file at {}", path);
    return false;
  }
  spdlog::info("[diagnostic_manager] Remove oldest report file at {}", path);
  return true;
}

bool make_room(report_store const& store, uploaded_report const& one) {
  auto const station_id = static_cast<int>(one.expected.station_id);
  if (has_too_many_reports(store, one.expected)) {
    // One only, even when a lowered limit is exceeded by more; with none to remove the upload is kept.
    remove_oldest(store, station_id, one.expected.type);
  }
  while (!has_room_for(store, one.size)) {
    spdlog::info("[diagnostic_manager] no enough space to save file {}, size={}. removing one report",
                 one.path, one.size);
    if (remove_oldest(store, station_id, std::nullopt)) {
      continue;
    }
    spdlog::info(
        "[diagnostic_manager] Fail to remove oldest report for station {}, "
        "trying to remove the oldest diagnostic of every station",
        one.expected.station_id);
    if (!remove_oldest(store, std::nullopt, std::nullopt)) {
      spdlog::error("[diagnostic_manager] Fail to remove oldest report");
      spdlog::error("[diagnostic_manager] Can't save file {}, no space remaining", one.file_name);
      return false;
    }
  }
  return true;
}

}  // namespace tavi::stations_maintenance
