#pragma once

#include <cstddef>
#include <functional>
#include <string>
#include <vector>

#include "commands/command_context.h"
#include "commands/options.h"
#include "stations_maintenance/diagnostic_report_filter.h"

namespace tavi::ctl {

/// Every report of the site, in the service's order.
/// @return no value when there is no list; why has been told
[[nodiscard]] taken<std::vector<diagnostic_report_info>> read_reports(command_context& context);

/// The reports a command is about, each once.
/// @param reports  all there are
/// @param code     becomes failed when an id is unknown, which is told; stays otherwise
[[nodiscard]] std::vector<diagnostic_report_info> find_target(command_context& context,
                                                              report_target const& target,
                                                              std::vector<diagnostic_report_info> reports,
                                                              exit_code& code);

/// Sends one portion of reports in a request. @param what  that is done with them, for complaints
/// @return done, or how the command ends without the other portions
using portion_sender =
    std::function<exit_code(stations_maintenance::diagnostic_report_filter const&, std::string const& what)>;

/// Sends the reports in their order and in portions, and shows how far that has come. Once the user wants to
/// end, which is taken over, no further portion is sent.
/// @param doing  "deleting", for the progress
/// @param most   reports in one portion, above 0
/// @return done; how `send` ended it; or how the command ends that the user wants to end
exit_code send_in_portions(command_context& context, char const* doing,
                           std::vector<diagnostic_report_info> const& reports, std::size_t most,
                           portion_sender const& send);

/// "2 reports (2.0 KiB)".
[[nodiscard]] std::string count_text(std::vector<diagnostic_report_info> const& reports);

}  // namespace tavi::ctl
