#include "firmware_offer.h"

#include <algorithm>
#include <filesystem>
#include <system_error>
#include <utility>

#include <spdlog/spdlog.h>

#include "firmware_log.h"
#include "firmware_table.h"
#include "mura_common/text.h"

namespace tavi::stations_maintenance {

firmware_offer::firmware_offer(firmware_table& firmwares, tavi::logger::i_logger& operators,
                               announced_uploads::view awaited)
    : firmware_db(firmwares), logger(operators), uploads(std::move(awaited)) {
}

std::optional<station_firmware_info> firmware_offer::find(unsigned int firmware_id) {
  if (auto row = firmware_db.get_firmware(firmware_id)) {
    set_status(*row);
    if (remove_without_file(*row)) {
      return std::nullopt;
    }
    convert_path_to_uri(row->path);
    return row;
  }
  auto const failed = std::ranges::find(uploads.failed(), firmware_id, &station_firmware_info::id);
  return failed == uploads.failed().end() ? std::nullopt : std::optional(*failed);
}

std::optional<std::vector<station_firmware_info>> firmware_offer::get_all() {
  auto rows = firmware_db.get_all_firmwares();
  if (!rows) {
    return std::nullopt;
  }
  auto all = shown(std::move(*rows), [](auto one) { return one != station_firmware_status::failed; });
  all.insert(all.end(), uploads.failed().begin(), uploads.failed().end());
  return all;
}

std::optional<std::vector<station_firmware_info>> firmware_offer::get_available(std::string const& model) {
  auto rows = firmware_db.get_firmware_from_model(model);
  if (!rows) {
    return std::nullopt;
  }
  return shown(std::move(*rows), [](auto one) { return one == station_firmware_status::available; });
}

std::vector<station_firmware_info> firmware_offer::shown(std::vector<station_firmware_info> rows,
                                                         bool (*is_wanted)(station_firmware_status)) {
  std::vector<station_firmware_info> wanted;
  for (auto& row : rows) {
    set_status(row);
    if (is_wanted(row.status) && !remove_without_file(row)) {
      convert_path_to_uri(row.path);
      wanted.push_back(std::move(row));
    }
  }
  return wanted;
}

void firmware_offer::set_status(station_firmware_info& info) {
  if (auto const* const awaited = uploads.find(info.id)) {
    info.status = awaited->status;
    if (info.status == station_firmware_status::failed) {
      uploads.fail(info.id, station_firmware_status::failed);
    }
  } else if (info.path.empty() || info.hash.empty()) {
    info.status = station_firmware_status::failed;
  } else {
    info.status =
        info.version.empty() ? station_firmware_status::without_version : station_firmware_status::available;
  }
}

bool firmware_offer::remove_without_file(station_firmware_info const& info) {
  if (info.status != station_firmware_status::available || info.path.empty()) {
    return false;
  }
  std::error_code error;
  if (std::filesystem::exists(info.path, error)) {
    return false;
  }
  if (error) {
    spdlog::warn("[fw_storage_mgr] An error occurred while testing if file {} exists", info.path);
    return false;
  }
  spdlog::warn("[fw_storage_mgr] Firmware with id {} is available but does not have file at {}", info.id,
               info.path);
  auto const removed = firmware_db.remove_firmware(info.id);
  if (removed) {
    spdlog::info("[fw_storage_mgr] Firmware with ID {} has be removed from database", info.id);
  }
  // Nobody can use the firmware any more, so operators are told even when its row remains.
  write_firmware_log(logger, tavi::logger::log_subtype::firmware_deleted, info);
  return removed;
}

void firmware_offer::convert_path_to_uri(std::string& path) {
  if (!path.empty() && !mura_common::startsWith(path, "/")) {
    path.insert(0, "/");
  }
}

}  // namespace tavi::stations_maintenance
