#include "report_generation.h"

#include <cstddef>
#include <vector>

#include <fmt/format.h>
#include <spdlog/spdlog.h>

namespace tavi::stations_maintenance {

using tavi::stations::station_diagnostics_status;
using tavi::stations::station_diagnostics_status_helper;

namespace {

/// The owner for whom tokens of these uploads are made.
constexpr char const* token_owner = "diagnostic_manager";

/// What became of asking all stations.
struct outcome {
  std::size_t generated = 0;
  bool result = true;
};

void log_blocked(diagnostic_report_type type) {
  spdlog::info("[diagnostic_manager] Generation of {} diagnostic reports blocked by configuration",
               diagnostic_report_type_helper::name_of(type));
}

void tell_operators(tavi::logger::i_logger& logger, std::string const& text) {
  logger.send_functional_log(tavi::logger::stations_maintenance_category,
                             tavi::logger::log_subtype::diagnostic_all_stations_generation, text);
}

outcome ask_each(report_generation const& generation,
                 std::vector<tavi::stations::charging_station> const& stations, std::string const& address) {
  outcome run;
  for (auto const& station : stations) {
    if (generation.is_stopping) {
      break;
    }
    if (!report_generation::is_upload_allowed(station.diagnostics_status)) {
      spdlog::error(
          "[diagnostic_manager] Can't generate diagnostic report for station {}. "
          "Diagnostic report status is {}",
          station.id, station_diagnostics_status_helper::name_of(station.diagnostics_status));
      continue;
    }
    unsigned int scratch = 0;
    if (generation.generate(station.id, address, scratch) == generation_result::accepted) {
      ++run.generated;
    } else {
      run.result = false;
    }
  }
  return run;
}

}  // namespace

bool report_generation::is_upload_allowed(station_diagnostics_status status) {
  return status == station_diagnostics_status::idle || status == station_diagnostics_status::uploaded ||
         status == station_diagnostics_status::upload_failed;
}

generation_result report_generation::generate(unsigned int station_id, std::string const& address,
                                              unsigned int& request_out) const {
  auto const token = webserver_token_service.get_upload_token(token_owner);
  if (!token) {
    spdlog::error(
        "[diagnostic_manager] Error while trying to generate token to generate diagnostic "
        "for station {}",
        station_id);
    return generation_result::failed;
  }
  auto const location = webserver_token_service.build_upload_location(address, *token) + "/";
  switch (ocpp_service.request_diagnostics_upload(station_id, location, request_out)) {
    case 0:
      uploads.insert(*token, {station_id, type});
      spdlog::info("[diagnostic_manager] Diagnostic for station {} generated", station_id);
      return generation_result::accepted;
    case 1:
      spdlog::error("[diagnostic_manager] Unknown ID for station {}", station_id);
      return generation_result::unknown_station;
    case 2:
      spdlog::error("[diagnostic_manager] Error while generating for station {} : not connected", station_id);
      return generation_result::not_connected;
    default:
      spdlog::error("[diagnostic_manager] IPC Error while sending generation command to station {}",
                    station_id);
      return generation_result::failed;
  }
}

generation_result report_generation::generate_if_allowed(unsigned int station_id,
                                                         unsigned int& request_out) const {
  if (!is_allowed) {
    log_blocked(type);
    return generation_result::failed;
  }
  auto const station = ocpp_service.get_charging_station(station_id);
  // A station that the OCPP service does not know is asked all the same: the request then says so.
  if (station && !is_upload_allowed(station->diagnostics_status)) {
    spdlog::error(
        "[diagnostic_manager] Can't generate diagnostic report for station {}. "
        "Diagnostic status is {}",
        station_id, station_diagnostics_status_helper::name_of(station->diagnostics_status));
    return generation_result::failed;
  }
  auto const network = network_service.get_network_config();
  if (!network) {
    spdlog::error("Can't read network configuration. Can't generate diagnostic for station {}", station_id);
    return generation_result::failed;
  }
  return generate(station_id, network->address, request_out);
}

bool report_generation::generate_all() const {
  if (!is_allowed) {
    log_blocked(type);
    tell_operators(logger_service, "Generating diagnostic report blocked by configuration ");
    return false;
  }
  tell_operators(logger_service, "Generating diagnostic report for all stations");
  auto const stations = ocpp_service.get_charging_stations();
  auto const network = network_service.get_network_config();
  outcome run;
  if (network) {
    run = ask_each(*this, stations, network->address);
  } else {
    // The run counts as done, with nothing generated.
    spdlog::error("Can't read network configuration. Can't generate diagnostic for stations");
  }
  tell_operators(logger_service,
                 fmt::format("Generating diagnostic report for all stations {} out of {} have been generated",
                             run.generated, stations.size()));
  return run.result;
}

}  // namespace tavi::stations_maintenance
