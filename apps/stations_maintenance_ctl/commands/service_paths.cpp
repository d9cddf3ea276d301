#include "commands/service_paths.h"

#include <fmt/format.h>

namespace tavi::ctl {

taken<std::filesystem::path> find_in_service(command_context& context, std::filesystem::path const& path) {
  if (path.is_absolute()) {
    return {path, exit_code::done};
  }
  auto const folder = take(context, "asking for the service's working directory",
                           [&] { return context.service.get_working_directory(); });
  if (!folder.value) {
    return {std::nullopt, folder.code};
  }
  return {*folder.value / path, exit_code::done};
}

exit_code make_paths_openable(command_context& context,
                              std::vector<stations_maintenance::station_firmware_info>& firmwares) {
  for (auto& firmware : firmwares) {
    if (firmware.path.empty()) {
      continue;
    }
    auto const file = take(context, fmt::format("asking where the file of firmware {} lies", firmware.id),
                           [&] { return context.service.get_firmware_file(firmware.id); });
    if (!file.value) {
      return file.code;
    }
    // Without one, the firmware has gone in the meantime: its path stays as it was listed.
    firmware.path = file.value->value_or(firmware.path);
  }
  return exit_code::done;
}

}  // namespace tavi::ctl
