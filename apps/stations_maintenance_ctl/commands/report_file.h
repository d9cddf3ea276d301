#pragma once

#include <cstdint>
#include <filesystem>

#include "commands/command_context.h"
#include "stations_maintenance/diagnostic_report.h"

namespace tavi::ctl {

/// A stored report and its file.
struct stored_report {
  stations_maintenance::diagnostic_report_info record;  ///< as the service has it
  std::filesystem::path path;                           ///< absolute; there is a file that may be read
};

/// Where a report lies in the folder of the reports.
[[nodiscard]] std::filesystem::path path_of(std::filesystem::path const& folder,
                                            stations_maintenance::diagnostic_report_info const& report);

/// The folder in which the service keeps the reports. Tells why it is not known.
[[nodiscard]] taken<std::filesystem::path> read_report_folder(command_context& context);

/// Looks a report up and makes sure that its file can be read; tells why not.
[[nodiscard]] taken<stored_report> find_report(command_context& context, std::uint32_t id);

}  // namespace tavi::ctl
