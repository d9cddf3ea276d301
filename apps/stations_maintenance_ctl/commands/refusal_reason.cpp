#include "commands/refusal_reason.h"

#include "commands/endpoint_probe.h"
#include "mura_common/ipc.h"
#include "tavi/network/req_resp_network_service.h"
#include "tavi/ocpp1_6/req_resp_ocpp_1_6_service.h"

namespace tavi::ctl {

namespace {

using stations_maintenance::diagnostic_report_type;

constexpr std::chrono::seconds patience_for_reasons(5);

bool is_listening(char const* service) {
  return probe_endpoint(mura_common::runtime_directory() / (std::string(service) + ".req")) == 0;
}

bool is_switched_off(command_context& context, diagnostic_report_type type) {
  if (type != diagnostic_report_type::periodic) {
    return false;
  }
  auto const configuration = context.service.get_configuration().value;
  return configuration && *configuration && (*configuration)->max_periodic_report_per_station == 0;
}

bool is_uploading(std::uint32_t station_id) {
  ocpp1_6::req_resp_ocpp_1_6_service site(patience_for_reasons);
  auto const station = site.get_charging_station(station_id);
  return station && station->diagnostics_status == stations::station_diagnostics_status::uploading;
}

}  // namespace

std::string find_refusal_reason(command_context& context, std::uint32_t station_id,
                                diagnostic_report_type type) {
  if (is_switched_off(context, type)) {
    return "periodic reports are switched off: config set --max-periodic above 0 allows them";
  }
  if (!is_listening("ocpp_1_6_service")) {
    return "ocpp_1_6_service, which asks the stations, does not run";
  }
  if (is_uploading(station_id)) {
    return "it is uploading one already: try again when that is there";
  }
  if (!is_listening("network_service")) {
    return "network_service, which knows where to upload to, does not run";
  }
  if (!network::req_resp_network_service(patience_for_reasons).get_network_config()) {
    return "the network service does not tell where to upload to";
  }
  return type == diagnostic_report_type::periodic
             ? "the station refused, or gave no answer in time"
             : "the station refused or gave no answer in time, or manual reports are switched off "
               "(max_manual_report_per_station in [diagnostic_report] of the service's configuration is 0)";
}

}  // namespace tavi::ctl
