#include "program.h"

#include <stdlib.h>

#include "commands/commands.h"
#include "commands/site_access.h"

namespace tavi::ctl {

namespace {

stations_maintenance::call_limits make_limits(invocation const& invoked) {
  if (!invoked.time_out) {
    return {};
  }
  return {*invoked.time_out, *invoked.time_out, *invoked.time_out};
}

}  // namespace

exit_code run(invocation const& invoked, i_console& console, i_clock& clock) {
  if (!invoked.runtime_folder.empty()) {
    ::setenv("TAVI_RUNTIME_DIR", invoked.runtime_folder.c_str(), 1);
  }
  http_uploader uploader;
  auto const limits = make_limits(invoked);
  stations_maintenance::req_resp_stations_maintenance_service service(limits);
  command_context context{console, clock, uploader, service, invoked.is_json, limits};
  if (!std::holds_alternative<watch_options>(invoked.command) && !is_service_reachable(context)) {
    return exit_code::not_reachable;
  }
  return std::visit([&context](auto const& options) { return run_command(context, options); },
                    invoked.command);
}

}  // namespace tavi::ctl
