#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "commands/command_context.h"
#include "stations_maintenance/diagnostic_report.h"

namespace tavi::ctl {

/// What the user is asked before reports are deleted: name, station and size of each, the first ten of many.
/// @param reports  at least one
[[nodiscard]] std::string deletion_question(
    std::vector<stations_maintenance::diagnostic_report_info> const& reports);

/// As for reports, with name, version and size of each firmware, which the service is asked for. One that
/// it does not know is named by its id alone: deleting it will tell why.
/// @return no value when the service did not answer; why has been told
[[nodiscard]] taken<std::string> deletion_question(command_context& context,
                                                   std::vector<std::uint32_t> const& firmwares);

}  // namespace tavi::ctl
