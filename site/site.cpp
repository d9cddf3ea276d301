#include "site.h"

#include <unistd.h>

#include <algorithm>
#include <exception>
#include <future>
#include <optional>
#include <system_error>
#include <thread>
#include <utility>

#include <boost/asio/executor_work_guard.hpp>
#include <boost/asio/io_context.hpp>
#include <boost/asio/ip/host_name.hpp>
#include <boost/asio/post.hpp>
#include <spdlog/spdlog.h>

#include "descriptor_limit.h"
#include "event_log/event_log.h"
#include "firmware/firmware_server.h"
#include "firmware_offers.h"
#include "folder_lock.h"
#include "http_listener.h"
#include "network/network_service.h"
#include "ocpp/central_system.h"
#include "ocpp/published_station_events.h"
#include "tavi/logger/sub_logger_service.h"
#include "tavi/webserver_token/req_resp_webserver_token_service.h"
#include "tavi/webserver_token/sub_webserver_token_service.h"
#include "uploads/upload_server.h"

namespace tavi::site {

namespace {

namespace asio = boost::asio;

/// More than the stations' farewell takes.
constexpr std::chrono::seconds stop_patience(5);

/// Makes upload tokens for other services of the controller.
class token_service : public tavi::webserver_token::i_req_resp_webserver_token_service_handler {
 public:
  explicit token_service(uploads::upload_server& server) : uploads(server) {}
  std::optional<std::string> on_get_upload_token(std::string const& owner) override {
    return uploads.make_token(owner);
  }

 private:
  uploads::upload_server& uploads;
};

ocpp::central_system_options station_options(site_options const& options) {
  ocpp::central_system_options chosen;
  chosen.stations_file = options.state_folder / "stations.json";
  chosen.is_accepting_unknown = options.is_accepting_unknown;
  chosen.station_limit = options.station_limit;
  chosen.heartbeat = options.heartbeat;
  chosen.session = options.session;
  chosen.update = options.update;
  return chosen;
}

uploads::upload_options spool_options(site_options const& options) {
  auto chosen = options.uploads;
  chosen.spool_folder = options.state_folder / "spool";
  return chosen;
}

http::http_limits connection_limits(site_options const& options) {
  http::http_limits limits;
  limits.connections = options.plain_connections;
  return limits;
}

/// Stations have to connect and to upload while others fetch firmware as slowly as they like.
firmware::firmware_options delivery_options(site_options const& options) {
  auto chosen = options.firmware;
  chosen.counts.altogether = std::min(chosen.counts.altogether, options.plain_connections / 2);
  return chosen;
}

}  // namespace

struct site::members {
  explicit members(site_options chosen);

  bool prepare_state();
  bool start_network();
  bool start_servers();
  void run_loop();
  void leave_stations();

  site_options const options;
  asio::io_context loop{1};
  asio::executor_work_guard<asio::io_context::executor_type> guard{loop.get_executor()};
  folder_lock lock;
  tavi::logger::pub_logger_service log_events;
  event_log::event_log events;
  ocpp::published_station_events station_events;
  tavi::webserver_token::pub_webserver_token_service upload_events;
  firmware::firmware_server firmware;
  firmware_offers offers;
  ocpp::central_system stations;
  uploads::upload_server uploads;
  http::http_listener listener;
  token_service tokens;
  std::optional<network::network_service> network;
  tavi::logger::req_resp_logger_service_handler logger_server;
  tavi::webserver_token::req_resp_webserver_token_service_handler token_server;
  tavi::ocpp1_6::req_resp_ocpp_1_6_service_handler station_server;
  std::optional<tavi::network::req_resp_network_service_handler> network_server;
  std::thread loop_thread;
  std::uint16_t port = 0;
};

site::members::members(site_options chosen)
    : options(std::move(chosen)),
      events(options.state_folder / "event_log", options.event_log_bytes, options.event_log_files,
             [this](unsigned int category, unsigned int subtype, std::string const& text) {
               log_events.publish_functional_log(category, subtype, text);
             }),
      firmware(delivery_options(options)),
      offers(firmware),
      stations(loop, station_options(options), station_events, offers),
      uploads(loop, spool_options(options),
              [this](uploads::finished_upload const& upload) {
                upload_events.publish_file_uploaded(upload.token, upload.file_name,
                                                    upload.file_path.string());
              }),
      listener(loop, connection_limits(options)),
      tokens(uploads),
      logger_server(events),
      token_server(tokens),
      station_server(stations) {
}

bool site::members::prepare_state() {
  std::error_code error;
  std::filesystem::create_directories(options.state_folder, error);
  if (error) {
    spdlog::error("[site] state folder {} cannot be made: {}", options.state_folder.string(),
                  error.message());
    return false;
  }
  if (::access(options.state_folder.c_str(), R_OK | W_OK | X_OK) != 0) {
    spdlog::error("[site] state folder {} cannot be written: {}", options.state_folder.string(),
                  std::generic_category().message(errno));
    return false;
  }
  return lock.take(options.state_folder);
}

bool site::members::start_network() {
  uploads.add_to(listener);
  firmware.add_to(listener);
  if (!listener.start(options.address, options.port)) {
    return false;
  }
  port = listener.port();
  boost::system::error_code ignored;
  auto const host = asio::ip::host_name(ignored);
  auto const address =
      network::make_advertised_address(options.advertised_address, options.address, host, port);
  if (!address.has_value()) {
    spdlog::error("[site] advertised address \"{}\" is neither host nor host:port",
                  options.advertised_address);
    return false;
  }
  spdlog::info("[site] stations are told to upload to {}", *address);
  offers.set_address(*address);
  network_server.emplace(network.emplace(*address));
  return true;
}

bool site::members::start_servers() {
  return logger_server.start() && network_server->start() && token_server.start() && station_server.start();
}

void site::members::run_loop() {
  // What is thrown out of a handler must not take the other connections along.
  while (!loop.stopped()) {
    try {
      loop.run();
    } catch (std::exception const& failure) {
      spdlog::error("[site] the event loop goes on after an exception: {}", failure.what());
    }
  }
}

void site::members::leave_stations() {
  auto const is_left = std::make_shared<std::promise<void>>();
  auto left = is_left->get_future();
  asio::post(loop, [this, is_left] {
    listener.stop();
    stations.stop([is_left] { is_left->set_value(); });
  });
  // A request to a station fails with its connection, so the servers are not kept waiting.
  left.wait_for(stop_patience);
}

site::site(site_options options) : own(std::make_unique<members>(std::move(options))) {
}

site::~site() {
  stop();
}

bool site::start() {
  // A limit that cannot be raised still serves a smaller site.
  http::raise_descriptor_limit();
  // The publishers come first, because what the spool still holds is announced as soon as it is read. The
  // servers come last, because they ask all the others.
  bool const is_ready = own->prepare_state() && own->log_events.start() && own->events.start() &&
                        own->station_events.start() && own->upload_events.start() &&
                        own->stations.add_to(own->listener) && own->uploads.start() && own->start_network();
  if (!is_ready) {
    stop();
    return false;
  }
  own->loop_thread = std::thread([this] { own->run_loop(); });
  if (!own->start_servers()) {
    stop();
    return false;
  }
  return true;
}

void site::stop() {
  bool const is_running = own->loop_thread.joinable();
  if (is_running) {
    own->leave_stations();
  } else {
    own->listener.stop();
  }
  own->station_server.stop();
  own->token_server.stop();
  own->logger_server.stop();
  if (own->network_server.has_value()) {
    own->network_server->stop();
  }
  own->loop.stop();
  if (is_running) {
    own->loop_thread.join();
  }
  own->port = 0;
}

std::string site::endpoint() const {
  auto const& address = own->options.address;
  auto const host = address.find(':') == std::string::npos ? address : "[" + address + "]";
  return own->port == 0 ? std::string() : host + ":" + std::to_string(own->port);
}

std::uint16_t site::port() const {
  return own->port;
}

}  // namespace tavi::site
