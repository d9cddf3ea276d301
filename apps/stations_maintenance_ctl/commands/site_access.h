#pragma once

#include <string>
#include <vector>

#include "commands/command_context.h"
#include "tavi/stations/charging_station.h"

namespace tavi::ctl {

/// What to do where a service of the site does not run.
inline constexpr char const* site_advice = "Start the site's services (tavi_site --help)";

/// Whether the maintenance service listens; tells how to start it when it does not.
[[nodiscard]] bool is_service_reachable(command_context& context);

/// Address of the controller's web server, from the network service. Tells why there is none.
[[nodiscard]] taken<std::string> read_upload_address(command_context& context);

/// All stations of the site, from the OCPP 1.6 service. Tells why they cannot be read.
[[nodiscard]] taken<std::vector<stations::charging_station>> read_stations(command_context& context);

}  // namespace tavi::ctl
