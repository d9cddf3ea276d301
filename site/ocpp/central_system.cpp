#include "ocpp/central_system.h"

#include <exception>
#include <map>
#include <string_view>
#include <utility>
#include <variant>

#include <boost/asio/co_spawn.hpp>
#include <boost/asio/steady_timer.hpp>
#include <boost/asio/use_future.hpp>
#include <boost/beast/websocket/rfc6455.hpp>
#include <spdlog/spdlog.h>

#include "http_answer.h"
#include "ocpp/handshake.h"
#include "ocpp/on_loop.h"
#include "ocpp/station_answers.h"
#include "ocpp/station_registry.h"
#include "ocpp/station_requests.h"

namespace tavi::site::ocpp {

using ocpp_wire::call;
using ocpp_wire::error_code;
using ocpp_wire::printable;
using ocpp_wire::refused_call;

namespace {

namespace asio = boost::asio;
namespace beast_http = boost::beast::http;
using tavi::stations::charging_station;
using tavi::stations::station_diagnostics_status;

constexpr std::chrono::seconds loop_patience(5);
constexpr std::chrono::seconds stop_time(1);
/// Stations that boot at once, as after a power failure, share a write within this time.
constexpr std::chrono::seconds save_delay(1);
/// That a site may take to be there again.
constexpr std::chrono::seconds return_time(30);
/// A disk that could not be written is left alone for this time.
constexpr std::chrono::seconds save_retry(60);

std::string_view to_std(boost::beast::string_view text) {
  return {text.data(), text.size()};
}

/// Who wants to connect, or why he may not.
std::variant<std::string, http::http_answer> read_upgrade(http::http_exchange const& exchange) {
  auto const& request = exchange.parser.get();
  auto const identity = read_identity(to_std(request.target()));
  if (!identity.has_value()) {
    return http::http_answer{
        beast_http::status::bad_request, "the address is to be /ocpp/<identity>, of 1 to 48 characters", {}};
  }
  if (!boost::beast::websocket::is_upgrade(request)) {
    return http::http_answer{beast_http::status::bad_request, "a WebSocket is wanted here, and no body", {}};
  }
  if (exchange.buffer.size() > 0) {
    // The WebSocket would begin in the middle of whatever these bytes are.
    return http::http_answer{beast_http::status::bad_request, "nothing may be sent before the answer", {}};
  }
  return *identity;
}

}  // namespace

struct central_system::members {
  members(asio::io_context& site_loop, central_system_options chosen, station_events& listeners,
          firmware_source& source)
      : loop(site_loop),
        options(std::move(chosen)),
        events(listeners),
        firmware(source),
        registry(options.stations_file, options.station_limit),
        answers(registry, events, options.heartbeat),
        requests(registry, events, firmware, options.update,
                 [this](std::string const& identity) { return find_session(identity); }),
        farewell(loop),
        saving(loop) {}

  asio::awaitable<bool> on_exchange(http::http_exchange& exchange);
  asio::awaitable<bool> refuse(http::http_exchange& exchange, http::http_answer answer);
  std::optional<http::http_answer> find_objection(std::string const& identity) const;
  asio::awaitable<bool> has_live_session(std::string const& identity);
  asio::awaitable<void> serve(http::http_exchange& exchange, std::string identity);
  std::shared_ptr<station_session> find_session(std::string const& identity) const;
  int wait_for_station(asio::awaitable<asked_station> asking, unsigned int& request);
  std::string answer(std::string const& identity, call const& request);
  std::optional<unsigned int> take_in(std::string const& identity);
  bool on_connected(std::string const& identity);
  void detach(std::string const& identity, std::shared_ptr<station_session> const& session);
  void plan_save(std::chrono::seconds delay);
  void save();
  void note_if_stopped();

  asio::io_context& loop;
  central_system_options options;
  station_events& events;
  firmware_source& firmware;
  station_registry registry;
  station_answers answers;
  station_requests requests;
  asio::steady_timer farewell;
  asio::steady_timer saving;
  bool is_save_planned = false;
  // By identity: one that is being opened may belong to a station that is not known yet.
  std::map<std::string, std::shared_ptr<station_session>> sessions;
  bool is_stopping = false;
  std::function<void()> on_stopped;
};

asio::awaitable<bool> central_system::members::on_exchange(http::http_exchange& exchange) {
  auto const& request = exchange.parser.get();
  if (!boost::beast::websocket::is_upgrade(request) && exchange.parser.is_done()) {
    co_return co_await ask_for_web_socket(exchange);
  }
  auto wanted = read_upgrade(exchange);
  if (auto* const answer = std::get_if<http::http_answer>(&wanted)) {
    co_return co_await refuse(exchange, std::move(*answer));
  }
  auto const identity = std::get<std::string>(wanted);
  if (auto answer = find_objection(identity)) {
    co_return co_await refuse(exchange, std::move(*answer));
  }
  if (!has_sub_protocol(to_std(request[beast_http::field::sec_websocket_protocol]))) {
    spdlog::warn("[central_system] {} ({}) is sent away: it does not offer the sub-protocol {}",
                 exchange.peer, identity, sub_protocol);
    co_await open_and_close(exchange);
    co_return false;
  }
  auto const is_taken = co_await has_live_session(identity);
  if (is_taken || is_stopping) {
    http::http_answer answer;
    answer.status = is_taken ? beast_http::status::conflict : beast_http::status::service_unavailable;
    answer.text = is_taken ? "a station of this identity is connected" : "the site is going down";
    answer.retry_after = is_taken ? std::chrono::seconds(0) : return_time;
    co_return co_await refuse(exchange, std::move(answer));
  }
  co_await serve(exchange, identity);
  co_return false;
}

asio::awaitable<bool> central_system::members::refuse(http::http_exchange& exchange,
                                                      http::http_answer answer) {
  auto const target = to_std(exchange.parser.get().target());
  spdlog::warn("[central_system] {} is refused at {}: {}", exchange.peer, printable(target), answer.text);
  auto const goes_on = co_await http::send_answer(exchange, answer);
  co_return goes_on;
}

std::optional<http::http_answer> central_system::members::find_objection(std::string const& identity) const {
  if (registry.find(identity).has_value()) {
    return std::nullopt;
  }
  if (!options.is_accepting_unknown || is_stopping) {
    return http::http_answer{beast_http::status::not_found, "no station of this identity is known", {}};
  }
  if (!registry.has_room()) {
    return http::http_answer{beast_http::status::not_found, "no further station can be taken in", {}};
  }
  return std::nullopt;
}

asio::awaitable<bool> central_system::members::has_live_session(std::string const& identity) {
  // Another newcomer may have taken the place while the first one was being pinged, so look again each time.
  while (sessions.contains(identity)) {
    auto const occupant = sessions.at(identity);
    auto const is_alive = co_await occupant->is_alive(options.ping_patience);
    if (is_alive) {
      co_return true;
    }
    spdlog::info("[central_system] {}: a connection that gives no sign of life is dropped", identity);
    occupant->drop();
    detach(identity, occupant);
  }
  co_return false;
}

asio::awaitable<void> central_system::members::serve(http::http_exchange& exchange, std::string identity) {
  auto const session = std::make_shared<station_session>(
      std::move(exchange.stream), identity, options.session,
      [this, identity](call const& request) { return answer(identity, request); });
  sessions[identity] = session;
  try {
    auto const is_open = co_await session->open(exchange.parser.get());
    if (is_open && !on_connected(identity)) {
      session->close();
    }
    if (is_open) {
      co_await session->run();
    }
  } catch (std::exception const& failure) {
    spdlog::error("[central_system] {}: its connection ends by an exception: {}", identity, failure.what());
    session->drop();
  }
  detach(identity, session);
}

std::string central_system::members::answer(std::string const& identity, call const& request) {
  auto const id = registry.find(identity);
  if (!id.has_value()) {
    return encode(refused_call{request.id, {error_code::internal_error, "the site cannot take it in"}});
  }
  auto frame = answers.answer(*id, request);
  if (registry.has_changes() && !is_save_planned) {
    plan_save(save_delay);
  }
  return frame;
}

std::optional<unsigned int> central_system::members::take_in(std::string const& identity) {
  if (auto const known = registry.find(identity)) {
    return known;
  }
  auto const id = registry.add(identity);
  if (id.has_value()) {
    spdlog::info("[central_system] station {} ({}) is new", *id, identity);
    events.on_created(*id);
  }
  return id;
}

bool central_system::members::on_connected(std::string const& identity) {
  // Only now, because a request that never becomes a connection must not leave a station behind.
  auto const id = take_in(identity);
  if (!id.has_value()) {
    return false;
  }
  registry.set_connected(*id, true);
  spdlog::info("[central_system] station {} ({}) connected", *id, identity);
  auto status = registry.get(*id).value_or(charging_station()).diagnostics_status;
  if (status == station_diagnostics_status::uploading) {
    // Its end may have been told while nobody listened. A station that still uploads tells the end of it.
    status = station_diagnostics_status::idle;
    registry.set_diagnostics_status(*id, status);
  }
  events.on_status({*id, true, status});
  return true;
}

void central_system::members::plan_save(std::chrono::seconds delay) {
  is_save_planned = true;
  saving.expires_after(delay);
  saving.async_wait([this](boost::system::error_code error) {
    if (!error) {
      save();
    }
  });
}

void central_system::members::save() {
  is_save_planned = false;
  if (!registry.save_changes() && !is_stopping) {
    plan_save(save_retry);
  }
}

void central_system::members::note_if_stopped() {
  if (is_stopping && sessions.empty() && on_stopped) {
    farewell.cancel();
    saving.cancel();
    save();
    std::exchange(on_stopped, nullptr)();
  }
}

void central_system::members::detach(std::string const& identity,
                                     std::shared_ptr<station_session> const& session) {
  auto const place = sessions.find(identity);
  if (place == sessions.end() || place->second != session) {
    return;
  }
  sessions.erase(place);
  auto const id = registry.find(identity);
  auto const station = id.has_value() ? registry.get(*id) : std::nullopt;
  if (station.has_value() && station->connected) {
    registry.set_connected(station->id, false);
    spdlog::info("[central_system] station {} ({}) disconnected", station->id, identity);
    events.on_status({station->id, false, station->diagnostics_status});
  }
  note_if_stopped();
}

std::shared_ptr<station_session> central_system::members::find_session(std::string const& identity) const {
  auto const place = sessions.find(identity);
  return place == sessions.end() ? nullptr : place->second;
}

int central_system::members::wait_for_station(asio::awaitable<asked_station> asking, unsigned int& request) {
  auto answer = asio::co_spawn(loop, std::move(asking), asio::use_future);
  auto const asked = wait_for_loop(answer, options.session.call_time_out + loop_patience);
  request = asked.request;
  return static_cast<int>(asked.answer);
}

central_system::central_system(asio::io_context& loop, central_system_options options, station_events& events,
                               firmware_source& firmware)
    : own(std::make_unique<members>(loop, std::move(options), events, firmware)) {
}

central_system::~central_system() = default;

bool central_system::add_to(http::http_listener& listener) {
  if (!own->registry.load()) {
    return false;
  }
  listener.add_route("/ocpp/", [this](http::http_exchange& exchange) { return own->on_exchange(exchange); });
  return true;
}

void central_system::stop(std::function<void()> on_stopped) {
  own->is_stopping = true;
  own->on_stopped = std::move(on_stopped);
  auto const leaving = own->sessions;
  own->farewell.expires_after(stop_time);
  own->farewell.async_wait([leaving](boost::system::error_code) {
    for (auto const& [id, session] : leaving) {
      session->drop();
    }
  });
  for (auto const& [id, session] : leaving) {
    session->close();
  }
  own->note_if_stopped();
}

std::optional<charging_station> central_system::on_get_charging_station(unsigned int const& station_id) {
  return run_on_loop(own->loop, loop_patience, [this, station_id] { return own->registry.get(station_id); });
}

std::vector<charging_station> central_system::on_get_charging_stations() {
  return run_on_loop(own->loop, loop_patience, [this] { return own->registry.get_all(); });
}

int central_system::on_request_diagnostics_upload(unsigned int const& station_id, std::string const& location,
                                                  unsigned int& request) {
  request = 0;
  return own->wait_for_station(own->requests.ask_for_diagnostics(station_id, location), request);
}

int central_system::on_request_firmware_update(unsigned int const& station_id, std::string const& path,
                                               unsigned int& request) {
  request = 0;
  // Here and not on the event loop, because the disk may take its time.
  auto const file = own->firmware.find_file(path);
  return own->wait_for_station(own->requests.ask_for_update(station_id, file), request);
}

}  // namespace tavi::site::ocpp
