#pragma once

#include <filesystem>
#include <vector>

#include "stations_maintenance/station_firmware_info.h"

namespace tavi::ctl {

/// A path of the service's as this process can open it: a relative one counts from the service's working
/// directory.
/// @return unchanged when it is absolute, or when this user may not know the working directory
[[nodiscard]] std::filesystem::path find_in_service(std::filesystem::path const& path);

/// Makes the path of a firmware one that can be opened. The service gives a relative one a leading "/"; it
/// stays so where no file is found below the working directory.
void make_path_openable(stations_maintenance::station_firmware_info& firmware);
/// Each of them.
void make_path_openable(std::vector<stations_maintenance::station_firmware_info>& firmwares);

}  // namespace tavi::ctl
