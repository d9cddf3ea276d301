#include "stations_maintenance/stations_maintenance_service.h"

#include <spdlog/spdlog.h>

#include <chrono>
#include <optional>
#include <string>

#include "diagnostic_manager.h"
#include "diagnostic_table.h"
#include "sub_charging_stations_service_handler.h"
#include "sub_webserver_service_handler.h"
#include "tavi/logger/i_logger.h"
#include "tavi/network/i_req_resp_network_service.h"
#include "tavi/ocpp1_6/i_req_resp_ocpp_1_6_service.h"
#include "tavi/stations/sub_charging_stations_service.h"
#include "tavi/webserver_token/i_req_resp_webserver_token_service.h"
#include "tavi/webserver_token/sub_webserver_token_service.h"

namespace tavi::stations_maintenance {

namespace {

constexpr char const* service_name = "stations_maintenance_service";

/// The configuration of the service; an entry is absent when its key is missing or has another type.
struct configuration_values {
  explicit configuration_values(mura_common::IConfigParameterProvider& config)
      : max_periodic(config.getParam<unsigned int>("diagnostic_report.max_periodic_report_per_station")),
        max_manual(config.getParam<unsigned int>("diagnostic_report.max_manual_report_per_station")),
        period(config.getParam<std::chrono::seconds>("diagnostic_report.period_for_automatic_generation")),
        max_total_size(config.getParam<unsigned int>("diagnostic_report.max_total_directory_size")),
        report_directory(
            config.getParam<std::string>("diagnostic_report.diagnostic_report_storage_directory")),
        zip_command(config.getParam<std::string>("diagnostic_report.zip_command")),
        zsh_command(config.getParam<std::string>("diagnostic_report.zsh_command")),
        max_firmware_stored(config.getParam<unsigned int>("firmware_storage.max_firmware_stored")),
        max_firmware_by_station(config.getParam<unsigned int>("firmware_storage.max_firmware_by_station")),
        firmware_directory(config.getParam<std::string>("firmware_storage.storage_path")),
        upload_timeout(config.getParam<std::chrono::seconds>("firmware_storage.upload_timeout")) {}

  [[nodiscard]] bool is_complete() const {
    return max_periodic && max_manual && period && max_total_size && report_directory && zip_command &&
           zsh_command && max_firmware_stored && max_firmware_by_station && firmware_directory &&
           upload_timeout;
  }

  // In the order in which the keys are asked for, so that the log names what is missing in the file's order.
  std::optional<mura_common::ConfigParameter<unsigned int>> max_periodic;
  std::optional<mura_common::ConfigParameter<unsigned int>> max_manual;
  std::optional<mura_common::ConfigParameter<std::chrono::seconds>> period;
  std::optional<mura_common::ConfigParameter<unsigned int>> max_total_size;
  std::optional<mura_common::ConfigParameter<std::string>> report_directory;
  std::optional<mura_common::ConfigParameter<std::string>> zip_command;
  std::optional<mura_common::ConfigParameter<std::string>> zsh_command;
  std::optional<mura_common::ConfigParameter<unsigned int>> max_firmware_stored;
  std::optional<mura_common::ConfigParameter<unsigned int>> max_firmware_by_station;
  std::optional<mura_common::ConfigParameter<std::string>> firmware_directory;
  std::optional<mura_common::ConfigParameter<std::chrono::seconds>> upload_timeout;
};

}  // namespace

// The event handlers come before the manager that they hand events to, and only store the reference; the
// compiler cannot see that they do not use it yet.
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wuninitialized"

/// What the service owns.
struct stations_maintenance_service::members {
  members(mura_common::IDatabase& database, tavi::logger::i_logger& logger_client,
          tavi::ocpp1_6::i_req_resp_ocpp_1_6_service& ocpp_client,
          tavi::webserver_token::i_req_resp_webserver_token_service& token_client,
          tavi::network::i_req_resp_network_service& network_client)
      : logger(logger_client),
        ocpp(ocpp_client),
        tokens(token_client),
        network(network_client),
        webserver_handler(diagnostics),
        webserver_events(service_name, webserver_handler),
        stations_handler(diagnostics),
        stations_events(service_name, stations_handler),
        diagnostics(reports, tokens, ocpp, network, logger),
        reports(database) {}

  tavi::logger::i_logger& logger;
  tavi::ocpp1_6::i_req_resp_ocpp_1_6_service& ocpp;
  tavi::webserver_token::i_req_resp_webserver_token_service& tokens;
  tavi::network::i_req_resp_network_service& network;

  sub_webserver_service_handler webserver_handler;
  tavi::webserver_token::sub_webserver_token_service webserver_events;
  sub_charging_stations_service_handler stations_handler;
  tavi::stations::sub_charging_stations_service stations_events;
  diagnostic_manager diagnostics;
  diagnostic_table reports;
};

#pragma GCC diagnostic pop

stations_maintenance_service::stations_maintenance_service(
    tavi::logger::i_logger& logger, tavi::ocpp1_6::i_req_resp_ocpp_1_6_service& ocpp,
    tavi::webserver_token::i_req_resp_webserver_token_service& tokens,
    tavi::network::i_req_resp_network_service& network)
    : service(service_name, true), own(std::make_unique<members>(database(), logger, ocpp, tokens, network)) {
}

stations_maintenance_service::~stations_maintenance_service() {
  own->webserver_events.stop();
  own->stations_events.stop();
}

bool stations_maintenance_service::do_init() {
  return own->logger.init(0) && own->ocpp.init() && own->tokens.init() && own->network.init() &&
         own->webserver_events.subscribe_to_file_uploaded() &&
         own->stations_events.subscribe_to_station_deleted() &&
         own->stations_events.subscribe_to_station_created() && own->reports.initTable() && read_parameters();
}

bool stations_maintenance_service::read_parameters() {
  configuration_values const values(config());
  if (!values.is_complete()) {
    spdlog::error("Failed to read service's configuration");
    return false;
  }
  if (!own->diagnostics.init(values.max_periodic->value(), values.max_manual->value(), values.period->value(),
                             values.max_total_size->value(), values.report_directory->value(),
                             values.zip_command->value(), values.zsh_command->value(), working_dir())) {
    spdlog::error("Can't init diagnostic manager with given parameters");
    return false;
  }
  return true;
}

bool stations_maintenance_service::do_start() {
  return own->diagnostics.start_periodic_generation();
}

bool stations_maintenance_service::do_stop() {
  return own->diagnostics.stop_periodic_generation();
}

}  // namespace tavi::stations_maintenance
