#pragma once

#include <cstddef>
#include <functional>
#include <string>
#include <vector>

#include "commands/command_context.h"
#include "commands/options.h"
#include "stations_maintenance/diagnostic_report_filter.h"

namespace tavi::ctl {

/// Every report of the site, in the service's order. @return no value when there is no list; why has been
/// told
[[nodiscard]] taken<std::vector<diagnostic_report_info>> read_reports(command_context& context);

/// The reports a command is about, each once.
/// @param reports  all there are
/// @param code     becomes failed when an id is unknown, which is told; stays otherwise
[[nodiscard]] std::vector<diagnostic_report_info> find_target(command_context& context,
                                                              report_target const& target,
                                                              std::vector<diagnostic_report_info> reports,
                                                              exit_code& code);

/// Calls `send` with the ids of the reports, in their order and in portions.
/// @param most  ids in one portion, above 0
/// @param send  gives false to end it
void send_in_portions(std::vector<diagnostic_report_info> const& reports, std::size_t most,
                      std::function<bool(stations_maintenance::diagnostic_report_filter const&)> const& send);

/// "2 reports (2.0 KiB)".
[[nodiscard]] std::string count_text(std::vector<diagnostic_report_info> const& reports);

}  // namespace tavi::ctl
