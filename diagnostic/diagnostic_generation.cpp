#include <chrono>
#include <vector>

#include <fmt/format.h>
#include <spdlog/spdlog.h>

#include "diagnostic_manager.h"

namespace tavi::stations_maintenance {

using tavi::logger::log_subtype;
using tavi::stations::station_diagnostics_status_helper;

namespace {

constexpr unsigned int functional_log_category = 13;

/// The owner for whom tokens of this manager's uploads are made.
constexpr char const* token_owner = "diagnostic_manager";

std::chrono::milliseconds interval_of(std::chrono::seconds period) {
  // Longer than the clock can tell is left to the timer to refuse; the multiplication must not overflow
  // before.
  constexpr auto longest = std::chrono::duration_cast<std::chrono::seconds>(std::chrono::milliseconds::max());
  return period > longest ? std::chrono::milliseconds::max() : std::chrono::milliseconds(period);
}

/// Whole hours, rounded toward zero.
std::int64_t hours_of(std::chrono::seconds period) {
  return period.count() / 3600;
}

}  // namespace

/// What became of asking all stations.
struct diagnostic_manager::generation_run {
  std::size_t generated = 0;
  bool result = true;
};

void diagnostic_manager::write_functional_log(log_subtype subtype, std::string const& text) {
  logger_service.send_functional_log(functional_log_category, subtype, text);
}

void diagnostic_manager::update_max_periodic_diagnostic(unsigned int const& max) {
  max_periodic_reports = max;
  periodic_generation_allowed = max != 0;
}

void diagnostic_manager::update_max_manual_diagnostic(unsigned int const& max) {
  max_manual_reports = max;
  manual_generation_allowed = max != 0;
}

bool diagnostic_manager::is_generation_allowed(diagnostic_report_type type) const {
  switch (type) {
    case diagnostic_report_type::manual:
      return manual_generation_allowed;
    case diagnostic_report_type::periodic:
      return periodic_generation_allowed;
  }
  return false;
}

bool diagnostic_manager::is_upload_allowed(tavi::stations::station_diagnostics_status status) {
  using tavi::stations::station_diagnostics_status;
  return status == station_diagnostics_status::idle || status == station_diagnostics_status::uploaded ||
         status == station_diagnostics_status::upload_failed;
}

bool diagnostic_manager::stop_periodic_generation() {
  return periodic_timer.stop();
}

bool diagnostic_manager::update_period_generation(std::chrono::seconds const& period) {
  if (!periodic_timer.stop()) {
    return false;
  }
  generation_period = period;
  return start_periodic_generation();
}

bool diagnostic_manager::start_periodic_generation() {
  auto const period = generation_period.load();
  if (period < std::chrono::seconds(1)) {
    spdlog::info("[diagnostic_manager] Periodic diagnsostic report generation deactivated");
    write_functional_log(log_subtype::diagnostic_periodic_generation,
                         "Periodic diagnostic report generation has been stopped");
    return true;
  }
  auto const started = periodic_timer.start(interval_of(period), false, [this] {
    spdlog::info("[diagnostic_manager] Generating period diagnostic reports");
    generate_all_diagnostics(diagnostic_report_type::periodic);
  });
  if (!started) {
    write_functional_log(
        log_subtype::diagnostic_periodic_generation,
        fmt::format(
            "ERROR : Could not restart periodic diagnostc report generation for a period of {}s (or {} h)",
            period.count(), hours_of(period)));
    spdlog::error("[diagnostic_manager] Could not restart priodic diagnostic report generation");
    return false;
  }
  write_functional_log(log_subtype::diagnostic_periodic_generation,
                       fmt::format("Changing period of generation of diagnostic. Period is now {}s (or {} h)",
                                   period.count(), hours_of(period)));
  spdlog::info(
      "[diagnostic_manager] Started periodic diagnostic report generation. Diagnostic will be generated each "
      "{}h({}s)",
      hours_of(period), period.count());
  return true;
}

std::uint32_t diagnostic_manager::generate_diagnostic(unsigned int station_id,
                                                      diagnostic_report_type const& type,
                                                      std::string const& address, unsigned int& request_out) {
  auto const token = webserver_token_service.get_upload_token(token_owner);
  if (!token) {
    spdlog::error(
        "[diagnostic_manager] Error while trying to generate token to generate diagnostic for station {}",
        station_id);
    return generation_failed;
  }
  auto const location = webserver_token_service.build_upload_location(address, *token) + "/";
  auto const answer = ocpp_service.request_diagnostics_upload(station_id, location, request_out);
  switch (answer) {
    case 0:
      break;
    case 1:
      spdlog::error("[diagnostic_manager] Unknown ID for station {}", station_id);
      return unknown_station;
    case 2:
      spdlog::error("[diagnostic_manager] Error while generating for station {} : not connected", station_id);
      return not_connected;
    default:
      spdlog::error("[diagnostic_manager] IPC Error while sending generation command to station {}",
                    station_id);
      return generation_failed;
  }
  {
    std::lock_guard const lock(expected_uploads_mutex);
    expected_uploads[*token] = expected_report_type{station_id, type};
  }
  spdlog::info("[diagnostic_manager] Diagnostic for station {} generated", station_id);
  return 0;
}

std::uint32_t diagnostic_manager::generate_single_diagnostic(unsigned int station_id,
                                                             diagnostic_report_type const& type,
                                                             unsigned int& request_out) {
  if (!is_generation_allowed(type)) {
    spdlog::info("[diagnostic_manager] Generation of {} diagnostic reports blocked by configuration",
                 diagnostic_report_type_helper::name_of(type));
    return generation_failed;
  }
  auto const station = ocpp_service.get_charging_station(station_id);
  // A station that the OCPP service does not know is asked all the same: the request then says so.
  if (station && !is_upload_allowed(station->diagnostics_status)) {
    spdlog::error(
        "[diagnostic_manager] Can't generate diagnostic report for station {}. Diagnostic status is {}",
        station_id, station_diagnostics_status_helper::name_of(station->diagnostics_status));
    return generation_failed;
  }
  auto const network = network_service.get_network_config();
  if (!network) {
    spdlog::error("Can't read network configuration. Can't generate diagnostic for station {}", station_id);
    return generation_failed;
  }
  return generate_diagnostic(station_id, type, network->address, request_out);
}

bool diagnostic_manager::generate_all_diagnostics(diagnostic_report_type const& type) {
  if (!is_generation_allowed(type)) {
    spdlog::info("[diagnostic_manager] Generation of {} diagnostic reports blocked by configuration",
                 diagnostic_report_type_helper::name_of(type));
    write_functional_log(log_subtype::diagnostic_all_stations_generation,
                         "Generating diagnostic report blocked by configuration ");
    return false;
  }
  write_functional_log(log_subtype::diagnostic_all_stations_generation,
                       "Generating diagnostic report for all stations");
  auto const stations = ocpp_service.get_charging_stations();
  auto const network = network_service.get_network_config();
  generation_run run;
  if (network) {
    run = ask_all(type, stations, network->address);
  } else {
    // The run counts as done, with nothing generated.
    spdlog::error("Can't read network configuration. Can't generate diagnostic for stations");
  }
  write_functional_log(
      log_subtype::diagnostic_all_stations_generation,
      fmt::format("Generating diagnostic report for all stations {} out of {} have been generated",
                  run.generated, stations.size()));
  return run.result;
}

diagnostic_manager::generation_run diagnostic_manager::ask_all(
    diagnostic_report_type type, std::vector<tavi::stations::charging_station> const& stations,
    std::string const& address) {
  generation_run run;
  for (auto const& station : stations) {
    if (is_stopping) {
      break;
    }
    if (!is_upload_allowed(station.diagnostics_status)) {
      spdlog::error(
          "[diagnostic_manager] Can't generate diagnostic report for station {}. Diagnostic report status is "
          "{}",
          station.id, station_diagnostics_status_helper::name_of(station.diagnostics_status));
      continue;
    }
    unsigned int scratch = 0;
    if (generate_diagnostic(station.id, type, address, scratch) == 0) {
      ++run.generated;
    } else {
      run.result = false;
    }
  }
  return run;
}

}  // namespace tavi::stations_maintenance
