#pragma once

#include <cstdint>
#include <string>

#include "commands/command_context.h"
#include "stations_maintenance/diagnostic_report.h"

namespace tavi::ctl {

/// Finds out why the service could not ask a station for a report, whose answer says only that it could
/// not: looks at what it needs for that, at the configuration, the station, and the network service. Asks
/// nobody who does not run.
/// @return the end of a sentence, with what to do about it; what is left when nothing was found
[[nodiscard]] std::string find_refusal_reason(command_context& context, std::uint32_t station_id,
                                              stations_maintenance::diagnostic_report_type type);

}  // namespace tavi::ctl
