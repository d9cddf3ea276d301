#include "report_filing.h"

#include <exception>
#include <filesystem>
#include <system_error>
#include <utility>

#include <spdlog/spdlog.h>

#include "mura_common/file.h"
#include "report_removal.h"

namespace tavi::stations_maintenance {

namespace fs = std::filesystem;

namespace {

/// What a row carries as its path until its file has been placed.
constexpr char const* placeholder_path = "tmp";

/// The absolute form of a path for the log; as it is when it cannot be told.
std::string absolute_form(fs::path const& path) {
  std::error_code error;
  auto const absolute = fs::absolute(path, error);
  return error ? path.string() : absolute.string();
}

}  // namespace

report_filing::report_filing(report_store const& kept, uploaded_report const& one)
    : store(kept), upload(one) {
}

report_filing::~report_filing() {
  try {
    undo();
  } catch (std::exception const&) {
    // The check at the next start deletes what is left, a row with the placeholder or a file without a row.
  }
}

bool report_filing::run() {
  return record() && (!place() || store_path());
}

bool report_filing::record() {
  auto const station_id = upload.expected.station_id;
  store.table.insert_diagnostic_report(station_id, upload.file_name, upload.expected.type, upload.size);
  auto const id = store.table.get_max_diagnostic_id(station_id);
  if (!store.tree.make_station_directories(station_id) || !id) {
    spdlog::error("[diagnostic_manager] Can't create directory for saving diagnostic report for station {}",
                  station_id);
    return false;
  }
  diagnostic_id = *id;
  reached = stage::recorded;
  return true;
}

bool report_filing::place() {
  full_path = store.tree.get_report_file(upload.expected.station_id, upload.expected.type,
                                         static_cast<int>(diagnostic_id), upload.file_name);
  std::error_code error;
  static_cast<void>(mura_common::copy_file_durably(upload.path, full_path, error));
  spdlog::debug("[diagnostic_manager] Copy file {} to {}, code = {}  ------ full path = {} to {}",
                upload.path, full_path, error.message(), absolute_form(upload.path),
                absolute_form(full_path));
  std::error_code ignored;
  if (!fs::exists(full_path, ignored)) {
    undo();
    remove_report(store.table, upload.path);
    spdlog::error("[diagnostic_manager] Error : file {} can't be upload on {}", upload.path, full_path);
    return false;
  }
  reached = stage::placed;
  spdlog::info("[diagnostic_manager] File {} has been uploaded on {}", upload.file_name,
               absolute_form(full_path));
  fs::remove(upload.path, ignored);
  return true;
}

bool report_filing::store_path() {
  if (!store.table.update_full_path_query(diagnostic_id, full_path)) {
    spdlog::error("[diagnostic_manager] Can't store new path in database. Removing file {}", full_path);
    return false;
  }
  reached = stage::stored;
  return true;
}

void report_filing::undo() {
  auto const half_made = std::exchange(reached, stage::nothing);
  if (half_made == stage::recorded) {
    // The placeholder stands for every row that was never placed, this one's included.
    remove_report(store.table, placeholder_path);
  } else if (half_made == stage::placed) {
    remove_report(store.table, full_path);
    // The row still has the placeholder path, under which the removal did not find it.
    store.table.delete_diagnostic_report_for_path(placeholder_path);
  }
}

}  // namespace tavi::stations_maintenance
