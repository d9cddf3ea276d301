#include <filesystem>
#include <limits>
#include <system_error>

#include <spdlog/spdlog.h>

#include "diagnostic_manager.h"
#include "mura_common/file.h"

namespace tavi::stations_maintenance {

namespace fs = std::filesystem;

namespace {

/// What a row carries as its path until its file has been placed.
constexpr char const* const placeholder_path = "tmp";

/// The absolute form of a path for the log; as it is when it cannot be told.
std::string absolute_form(fs::path const& path) {
  std::error_code error;
  auto const absolute = fs::absolute(path, error);
  return error ? path.string() : absolute.string();
}

/// Bytes of all regular files below `root`, a link counting by what it points to.
std::uint64_t total_size_below(fs::path const& root) {
  std::uint64_t sum = 0;
  std::error_code error;
  // An unreadable root gives an empty walk; an error on the way is thrown, for half a sum would admit too
  // much.
  for (auto const& entry : fs::recursive_directory_iterator(root, error)) {
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

void remove_file(std::string const& path) {
  std::error_code ignored;
  fs::remove(path, ignored);
}

}  // namespace

/// One uploaded file on its way into the tree.
struct diagnostic_manager::upload {
  std::string const& token;
  std::string const& file_name;
  std::string const& uploaded_path;
  std::uint64_t size;
  unsigned int station_id;
  diagnostic_report_type type;
};

bool diagnostic_manager::is_my_token(std::string const& token) const {
  std::lock_guard const lock(expected_uploads_mutex);
  return expected_uploads.contains(token);
}

expected_report_type diagnostic_manager::expected_upload(std::string const& token) {
  std::lock_guard const lock(expected_uploads_mutex);
  return expected_uploads[token];
}

bool diagnostic_manager::is_too_many_diag_for_station(std::string const& token) {
  auto const expected = expected_upload(token);
  auto const count = diag_table.count_stored_diagnostic_reports(expected.station_id, expected.type);
  switch (expected.type) {
    case diagnostic_report_type::manual:
      return max_manual_reports <= count;
    case diagnostic_report_type::periodic:
      return max_periodic_reports <= count;
  }
  return false;
}

bool diagnostic_manager::verif_size(unsigned long size) const {
  auto const sum = total_size_below(fs::path(working_dir) / storage_directory);
  // A file whose size is not known comes with the largest number; the sum with it must not wrap around.
  auto const is_within_numbers = size <= std::numeric_limits<std::uint64_t>::max() - sum;
  if (is_within_numbers && max_total_directory_size > sum + size) {
    return true;
  }
  spdlog::info("[diagnostic_manager] size of {} is {}. max is {} . Can't add file with size {}",
               storage_directory, sum, max_total_directory_size, size);
  return false;
}

bool diagnostic_manager::remove_oldest_report(std::optional<int> station_id,
                                              std::optional<diagnostic_report_type> type) {
  auto const oldest = diag_table.get_oldest_diagnostic(station_id, type);
  if (!oldest) {
    return false;
  }
  auto const path = get_full_path(oldest->station_id, oldest->type, static_cast<int>(oldest->diagnostic_id),
                                  oldest->diagnostic_name);
  std::error_code error;
  if (fs::exists(path, error)) {
    auto const removed = remove_diagnostic(path);
    if (removed) {
      spdlog::info("[diagnostic_manager] Remove oldest report file at {}", path);
    } else {
      spdlog::error("[diagnostic_manager] Fail to remove oldest report file at {}", path);
    }
    return removed;
  }
  if (diag_table.delete_diagnostic_report_for_path(path)) {
    spdlog::error(
        "[diagnostic_manager] Fail to remove oldest report file at {}. Error : {}. Oldest report has been "
        "removed "
        "from database",
        path, error.message());
  } else {
    spdlog::error(
        "[diagnostic_manager] Fail to remove oldest report file at {}. Error {}. Can't remove file from "
        "database",
        path, error.message());
  }
  // Nothing was freed, so the eviction counts as failed even when the row is gone.
  return false;
}

bool diagnostic_manager::save_file(std::string const& token, std::string const& file_name,
                                   std::string const& uploaded_path) {
  std::error_code error;
  auto const size =
      fs::file_size(uploaded_path, error);  // the largest number on error, which no budget admits
  spdlog::info("[diagnostic_manager] Trying to save file {}, size={}", uploaded_path, size);
  if (uploaded_path.empty()) {
    spdlog::error("[diagnostic_manager] Path of uploaded file is empty, can't save it");
    return discard_unknown_upload(uploaded_path, false);
  }
  auto const expected = expected_upload(token);
  if (expected.station_id == 0) {
    return discard_unknown_upload(uploaded_path, true);
  }
  auto const result =
      file_upload({token, file_name, uploaded_path, size, expected.station_id, expected.type});
  spdlog::info("[diagnostic_manager] Removing file {}", uploaded_path);
  remove_file(uploaded_path);
  std::lock_guard const lock(expected_uploads_mutex);
  expected_uploads.erase(token);
  return result;
}

bool diagnostic_manager::discard_unknown_upload(std::string const& uploaded_path, bool result) {
  remove_file(uploaded_path);
  spdlog::error("[diagnostic_manager] Unknown token");
  return result;
}

bool diagnostic_manager::file_upload(upload const& one) {
  if (is_too_many_diag_for_station(one.token)) {
    // One report only, even when a lowered limit is exceeded by more; without one to evict the upload is
    // kept.
    remove_oldest_report(static_cast<int>(one.station_id), one.type);
  }
  if (!make_room(one)) {
    return false;
  }
  diag_table.insert_diagnostic_report(one.station_id, one.file_name, one.type, one.size);
  auto const id = diag_table.get_max_diagnostic_id(one.station_id);
  if (!create_diagnostic_directory_for_station(one.station_id) || !id) {
    spdlog::error("[diagnostic_manager] Can't create directory for saving diagnostic report for station {}",
                  one.station_id);
    return false;
  }
  return place_file(one, *id);
}

bool diagnostic_manager::make_room(upload const& one) {
  while (!verif_size(one.size)) {
    spdlog::info("[diagnostic_manager] no enough space to save file {}, size={}. removing one report",
                 one.uploaded_path, one.size);
    if (remove_oldest_report(static_cast<int>(one.station_id), std::nullopt)) {
      continue;
    }
    spdlog::info(
        "[diagnostic_manager] Fail to remove oldest report for station {}, trying to remove the oldest "
        "diagnostic "
        "of every station",
        one.station_id);
    if (!remove_oldest_report(std::nullopt, std::nullopt)) {
      spdlog::error("[diagnostic_manager] Fail to remove oldest report");
      spdlog::error("[diagnostic_manager] Can't save file {}, no space remaining", one.file_name);
      return false;
    }
  }
  return true;
}

bool diagnostic_manager::place_file(upload const& one, std::uint32_t id) {
  auto const full_path = get_full_path(one.station_id, one.type, static_cast<int>(id), one.file_name);
  std::error_code error;
  static_cast<void>(mura_common::copy_file_durably(one.uploaded_path, full_path, error));
  spdlog::debug("[diagnostic_manager] Copy file {} to {}, code = {}  ------ full path = {} to {}",
                one.uploaded_path, full_path, error.message(), absolute_form(one.uploaded_path),
                absolute_form(full_path));
  std::error_code ignored;
  if (!fs::exists(full_path, ignored)) {
    // The placeholder path stands for every row that was never placed, this one's included.
    remove_diagnostic(placeholder_path);
    remove_diagnostic(one.uploaded_path);
    spdlog::error("[diagnostic_manager] Error : file {} can't be upload on {}", one.uploaded_path, full_path);
    return true;  // the upload has been dealt with, though there is no report of it
  }
  spdlog::info("[diagnostic_manager] File {} has been uploaded on {}", one.file_name,
               absolute_form(full_path));
  remove_file(one.uploaded_path);
  if (diag_table.update_full_path_query(id, full_path)) {
    return true;
  }
  spdlog::error("[diagnostic_manager] Can't store new path in database. Removing file {}", full_path);
  remove_diagnostic(full_path);
  // The row still has the placeholder path, under which the removal did not find it.
  diag_table.delete_diagnostic_report_for_path(placeholder_path);
  return false;
}

}  // namespace tavi::stations_maintenance
