#include "commands/service_paths.h"

#include "commands/endpoint_probe.h"
#include "mura_common/ipc.h"

namespace tavi::ctl {

std::filesystem::path find_in_service(std::filesystem::path const& path) {
  if (path.is_absolute()) {
    return path;
  }
  auto const folder =
      find_folder_of_listener(mura_common::runtime_directory() / "stations_maintenance_service.req");
  return folder ? *folder / path : path;
}

void make_path_openable(stations_maintenance::station_firmware_info& firmware) {
  std::error_code ignored;
  if (firmware.path.empty() || std::filesystem::exists(firmware.path, ignored)) {
    return;
  }
  auto const below = find_in_service(std::filesystem::path(firmware.path).relative_path());
  if (below.is_absolute() && std::filesystem::exists(below, ignored)) {
    firmware.path = below.string();
  }
}

void make_path_openable(std::vector<stations_maintenance::station_firmware_info>& firmwares) {
  for (auto& firmware : firmwares) {
    make_path_openable(firmware);
  }
}

}  // namespace tavi::ctl
