#include "stations_maintenance/stations_maintenance_service.h"

#include <filesystem>

#include <spdlog/spdlog.h>

#include "diagnostic_manager.h"
#include "diagnostic_table.h"
#include "firmware_table.h"
#include "fw_storage_mgr.h"
#include "handed_in_events.h"
#include "service_configuration.h"
#include "stations_maintenance/req_resp_stations_maintenance_service_handler.h"
#include "stations_maintenance_req_handler.h"
#include "stations_model_table.h"
#include "sub_charging_stations_service_handler.h"
#include "sub_webserver_service_handler.h"
#include "tavi/logger/i_logger.h"
#include "tavi/network/i_req_resp_network_service.h"
#include "tavi/ocpp1_6/i_req_resp_ocpp_1_6_service.h"
#include "tavi/stations/station_model_provider.h"
#include "tavi/stations/sub_charging_stations_service.h"
#include "tavi/webserver_token/i_req_resp_webserver_token_service.h"
#include "tavi/webserver_token/sub_webserver_token_service.h"

namespace tavi::stations_maintenance {

namespace {

constexpr char const* service_name = "stations_maintenance_service";

}  // namespace

// Handlers, diagnostic manager and firmware table come before what they are given, and only store the
// references; the compiler cannot see that they do not use them yet.
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wuninitialized"

/// What the service owns, in the order of construction. It ends in the reverse order, which takes the
/// managers away before the sources of requests and events: those are to be stopped before.
struct stations_maintenance_service::members {
  members(stations_maintenance_service& service, tavi::logger::i_logger& logger_client,
          tavi::ocpp1_6::i_req_resp_ocpp_1_6_service& ocpp_client,
          tavi::webserver_token::i_req_resp_webserver_token_service& token_client,
          tavi::network::i_req_resp_network_service& network_client, event_delivery delivery)
      : are_events_handed_in(delivery == event_delivery::handed_in),
        logger(logger_client),
        ocpp(ocpp_client),
        tokens(token_client),
        network(network_client),
        webserver_handler(diagnostics, firmware),
        webserver_events(service_name, webserver_handler),
        stations_handler(diagnostics),
        stations_events(service_name, stations_handler),
        request_handler(service, diagnostics, firmware),
        requests(request_handler),
        diagnostics(reports, tokens, ocpp, network, logger),
        reports(service.database()),
        firmwares(service.database(), models),
        models(service.database()),
        firmware(logger, ocpp, tokens, models, firmwares, supported_models),
        events_of_host(service_name, webserver_handler, stations_handler) {}

  /// Begins to receive events, unless the host hands them in.
  [[nodiscard]] bool subscribe() {
    return are_events_handed_in ||
           (webserver_events.subscribe_to_file_uploaded() && stations_events.subscribe_to_station_deleted() &&
            stations_events.subscribe_to_station_created());
  }

  /// Ends what calls into the managers, and waits for the request and the events being handled.
  void stop_sources() {
    requests.stop();
    webserver_events.stop();
    stations_events.stop();
  }

  bool const are_events_handed_in;
  tavi::logger::i_logger& logger;
  tavi::ocpp1_6::i_req_resp_ocpp_1_6_service& ocpp;
  tavi::webserver_token::i_req_resp_webserver_token_service& tokens;
  tavi::network::i_req_resp_network_service& network;

  sub_webserver_service_handler webserver_handler;
  tavi::webserver_token::sub_webserver_token_service webserver_events;
  sub_charging_stations_service_handler stations_handler;
  tavi::stations::sub_charging_stations_service stations_events;
  stations_maintenance_req_handler request_handler;
  req_resp_stations_maintenance_service_handler requests;
  tavi::stations::station_model_provider supported_models;
  diagnostic_manager diagnostics;
  diagnostic_table reports;
  firmware_table firmwares;
  stations_model_table models;
  fw_storage_mgr firmware;
  handed_in_events events_of_host;
};

#pragma GCC diagnostic pop

stations_maintenance_service::stations_maintenance_service(
    tavi::logger::i_logger& logger, tavi::ocpp1_6::i_req_resp_ocpp_1_6_service& ocpp,
    tavi::webserver_token::i_req_resp_webserver_token_service& tokens,
    tavi::network::i_req_resp_network_service& network)
    : stations_maintenance_service(logger, ocpp, tokens, network, event_delivery::subscribed) {
}

stations_maintenance_service::stations_maintenance_service(
    tavi::logger::i_logger& logger, tavi::ocpp1_6::i_req_resp_ocpp_1_6_service& ocpp,
    tavi::webserver_token::i_req_resp_webserver_token_service& tokens,
    tavi::network::i_req_resp_network_service& network, event_delivery delivery)
    : service(service_name, true),
      own(std::make_unique<members>(*this, logger, ocpp, tokens, network, delivery)) {
}

stations_maintenance_service::~stations_maintenance_service() {
  own->stop_sources();
}

tavi::webserver_token::i_sub_webserver_token_service_handler& stations_maintenance_service::upload_events() {
  return own->events_of_host;
}

tavi::stations::i_sub_charging_stations_service_handler& stations_maintenance_service::station_events() {
  return own->events_of_host;
}

bool stations_maintenance_service::do_init() {
  auto const is_connected =
      own->logger.init(0) && own->ocpp.init() && own->tokens.init() && own->network.init();
  // The tables of firmware refer to that of models.
  if (!is_connected || !own->subscribe() || !own->reports.initTable() || !own->models.initTable() ||
      !own->firmwares.initTable() || !read_parameters()) {
    return false;
  }
  own->diagnostics.check_sanity();
  // A file that cannot be used leaves no model, which the table refuses.
  using tavi::stations::station_model_provider;
  auto const file =
      std::filesystem::path(config_dir()) / station_model_provider::DEFAULT_SUPPORTED_STATIONS_FILE;
  own->supported_models.load(file.string());
  return own->models.add_stations_models(own->supported_models.get_station_models());
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
  return own->firmware.init(values.firmware_directory->value(), values.max_firmware_stored->value(),
                            values.max_firmware_by_station->value(), values.upload_timeout->value());
}

bool stations_maintenance_service::update_period_generation(std::chrono::seconds const& period) {
  return store_generation_period(config(), period);
}

bool stations_maintenance_service::update_max_periodic_diagnostic(unsigned int const& max) {
  return store_max_periodic_report(config(), max);
}

bool stations_maintenance_service::do_start() {
  if (!own->requests.start()) {
    return false;
  }
  if (own->diagnostics.start_periodic_generation()) {
    return true;
  }
  log_unusable_period(own->diagnostics.get_generation_period());
  return false;
}

bool stations_maintenance_service::do_stop() {
  return own->requests.stop() && own->diagnostics.stop_periodic_generation();
}

}  // namespace tavi::stations_maintenance
