#include "report_reception.h"

#include <filesystem>
#include <system_error>

#include <spdlog/spdlog.h>

#include "report_eviction.h"
#include "report_filing.h"

namespace tavi::stations_maintenance {

namespace {

void remove_file(std::string const& path) {
  std::error_code ignored;
  std::filesystem::remove(path, ignored);
}

void discard(std::string const& uploaded_path) {
  remove_file(uploaded_path);
  spdlog::error("[diagnostic_manager] Unknown token");
}

}  // namespace

bool save_uploaded_report(report_store const& store, expected_uploads& uploads, std::string const& token,
                          std::string const& file_name, std::string const& uploaded_path) {
  std::error_code error;
  // The largest number on error, which no budget admits.
  auto const size = std::filesystem::file_size(uploaded_path, error);
  spdlog::info("[diagnostic_manager] Trying to save file {}, size={}", uploaded_path, size);
  if (uploaded_path.empty()) {
    spdlog::error("[diagnostic_manager] Path of uploaded file is empty, can't save it");
    discard(uploaded_path);
    return false;
  }
  auto const expected = uploads.get_or_insert(token);
  if (expected.station_id == 0) {
    discard(uploaded_path);
    return true;
  }
  uploaded_report const one{file_name, uploaded_path, size, expected};
  auto const result = make_room(store, one) && report_filing(store, one).run();
  spdlog::info("[diagnostic_manager] Removing file {}", uploaded_path);
  remove_file(uploaded_path);
  uploads.remove(token);
  return result;
}

}  // namespace tavi::stations_maintenance
