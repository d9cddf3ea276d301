#include "commands/site_access.h"

#include <chrono>

#include "commands/endpoint_probe.h"
#include "tavi/network/req_resp_network_service.h"
#include "tavi/ocpp1_6/req_resp_ocpp_1_6_service.h"
#include "text/plain_text.h"

namespace tavi::ctl {

namespace {

constexpr std::chrono::seconds patience(5);
/// Longer than a request to a station can keep the service from answering.
constexpr std::chrono::seconds stations_patience(25);

}  // namespace

bool is_service_reachable(command_context& context) {
  return is_reachable(context, "stations_maintenance_service", ".req",
                      "Start it (stations_maintenance_host --help)");
}

taken<std::string> read_upload_address(command_context& context) {
  if (!is_reachable(context, "network_service", ".req", site_advice)) {
    context.console.complain("--address HOST:PORT names the web server without the network service's help");
    return {std::nullopt, exit_code::not_reachable};
  }
  auto const notice = tell_waiting(context, "asking for the address of the web server", patience);
  network::req_resp_network_service network(patience);
  auto const configuration = network.get_network_config();
  if (!configuration) {
    context.console.complain(
        "the network service does not tell the address of the web server: give --address "
        "HOST:PORT");
    return {std::nullopt, exit_code::failed};
  }
  if (!is_server_address(configuration->address)) {
    context.console.complain("the network service tells \"" + escape_text(configuration->address) +
                             "\" as the address of the web server, which is none: give --address HOST:PORT");
    return {std::nullopt, exit_code::failed};
  }
  return {configuration->address, exit_code::done};
}

taken<std::vector<stations::charging_station>> read_stations(command_context& context) {
  if (!is_reachable(context, "ocpp_1_6_service", ".req", site_advice)) {
    return {std::nullopt, exit_code::not_reachable};
  }
  ocpp1_6::req_resp_ocpp_1_6_service stations(stations_patience);
  auto const notice = tell_waiting(context, "asking for the stations of the site", stations_patience);
  if (!stations.init()) {
    context.console.complain("ocpp_1_6_service does not give the list of stations: look at its log");
    return {std::nullopt, exit_code::time_out};
  }
  return {stations.get_charging_stations(), exit_code::done};
}

}  // namespace tavi::ctl
