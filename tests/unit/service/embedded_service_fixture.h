#pragma once

#include <chrono>
#include <filesystem>
#include <optional>
#include <string>
#include <vector>

#include "service_fixture.h"
#include "stations_maintenance/req_resp_stations_maintenance_service.h"
#include "tavi/stations/sub_charging_stations_service.h"
#include "tavi/webserver_token/sub_webserver_token_service.h"

namespace tavi::stations_maintenance {

/// A service in a controller with siblings of its own: no site answers or publishes over IPC, the host hands
/// the events in. Station 3, of the supported model, takes every request.
class EmbeddedServiceTest : public ServiceTest {
 protected:
  EmbeddedServiceTest() {
    using testing::Return;
    ON_CALL(network, get_network_config).WillByDefault(Return(tavi::network::network_config{"controller"}));
    ON_CALL(tokens, get_upload_token).WillByDefault([this](std::string const& owner) {
      token = owner + " " + std::to_string(++tokens_made);
      return std::optional(token);
    });
    ON_CALL(tokens, build_upload_location).WillByDefault(Return("http://controller/upload"));
    ON_CALL(ocpp, get_charging_station(3)).WillByDefault(Return(station));
    ON_CALL(ocpp, get_charging_stations).WillByDefault(Return(std::vector{station}));
    ON_CALL(ocpp, request_diagnostics_upload).WillByDefault(Return(0));
  }

  [[nodiscard]] bool begin() { return init(embedded) && embedded.start(); }

  /// Puts a file where the host's own web server would, and tells the service of it.
  /// @return its path, at which nothing is left once the service has taken it
  std::filesystem::path hand_in(std::string const& of_token, std::string const& name,
                                std::string const& content) {
    auto const file = folder.write("spool/upload", content);
    embedded.upload_events().on_file_uploaded(of_token, name, file.string());
    return file;
  }

  /// Has station 3 asked for a report on request. @return the service's answer
  generation_result ask_for_report() {
    unsigned int request = 0;
    return client.generate_station_diagnostic_report(3, diagnostic_report_type::manual, request)
        .value.value();
  }

  /// The names of the reports in the service's list.
  [[nodiscard]] std::vector<std::string> reports() {
    std::vector<std::string> names;
    auto const listed = client.get_diagnostic_reports();
    for (auto const& one : listed.value.value().value()) {
      names.push_back(one.diagnostic_name);
    }
    return names;
  }

  tavi::stations::charging_station const station{.id = 3,
                                                 .identity = "CS-003",
                                                 .vendor = "Acme",
                                                 .model = "X7-22",
                                                 .diagnostics_status = {},
                                                 .connected = true};
  unsigned int tokens_made = 0;
  std::string token;  ///< the last one made
  stations_maintenance_service embedded{logger, ocpp, tokens, network, event_delivery::handed_in};
  static constexpr std::chrono::minutes patience{1};
  req_resp_stations_maintenance_service client{{.start = patience, .query = patience, .station = patience}};
};

}  // namespace tavi::stations_maintenance
