#pragma once

#include <filesystem>
#include <vector>

#include "commands/command_context.h"
#include "stations_maintenance/station_firmware_info.h"

namespace tavi::ctl {

/// A path of the service's as it can be opened: a relative one counts from the service's working directory, which
/// the service is asked for.
/// @return no value when it did not tell; why has been told
[[nodiscard]] taken<std::filesystem::path> find_in_service(command_context& context,
                                                           std::filesystem::path const& path);

/// Makes the paths of firmwares such that they can be opened: the service gives a relative one a leading "/", and
/// is asked where each file really lies.
/// @return how the command ends when it did not tell; otherwise done
[[nodiscard]] exit_code make_paths_openable(
    command_context& context, std::vector<stations_maintenance::station_firmware_info>& firmwares);

}  // namespace tavi::ctl
