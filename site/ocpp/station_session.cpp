#include "ocpp/station_session.h"

#include <deque>
#include <exception>
#include <optional>
#include <string_view>
#include <utility>

#include <boost/asio/co_spawn.hpp>
#include <boost/asio/detached.hpp>
#include <boost/asio/redirect_error.hpp>
#include <boost/asio/use_awaitable.hpp>
#include <boost/beast/core/flat_buffer.hpp>
#include <boost/beast/websocket/stream.hpp>
#include <spdlog/spdlog.h>

#include "ocpp/handshake.h"
#include "ocpp/loop_signal.h"

namespace tavi::site::ocpp {

using ocpp_wire::call;
using ocpp_wire::call_end;
using ocpp_wire::call_error;
using ocpp_wire::call_outcome;
using ocpp_wire::call_result;
using ocpp_wire::decode;
using ocpp_wire::error_code;
using ocpp_wire::message_bytes_limit;
using ocpp_wire::printable;
using ocpp_wire::refused_call;
using ocpp_wire::unidentified;

namespace {

namespace asio = boost::asio;
namespace beast = boost::beast;
namespace websocket = beast::websocket;
using steady_clock = std::chrono::steady_clock;

/// How many frames may wait to be sent before nothing more is read: a station that asks and never listens
/// costs no more memory than this.
constexpr std::size_t outgoing_limit = 16;

}  // namespace

struct station_session::members {
  members(beast::tcp_stream stream, std::string station, session_limits const& chosen, call_handler answerer,
          std::function<void(std::string)> send_frame)
      : socket(std::move(stream)),
        name(std::move(station)),
        limits(chosen),
        handler(std::move(answerer)),
        changed(socket.get_executor()),
        calls(socket.get_executor(), limits.call_time_out, std::move(send_frame)) {}

  void configure();
  void send(std::shared_ptr<station_session> const& self, std::string frame);
  asio::awaitable<void> send_all(std::shared_ptr<station_session> self);
  std::string answer(call const& request) const;
  void on_sign_of_life();
  void on_text(std::shared_ptr<station_session> const& self, std::string_view text);
  void on_answer(std::string const& id, call_outcome outcome, std::string const& what);
  void end();

  websocket::stream<beast::tcp_stream> socket;
  std::string name;
  session_limits limits;
  call_handler handler;
  loop_signal changed;  // notified at every change of what follows
  bool is_open = false;
  bool is_ended = false;
  bool is_sending = false;
  bool is_pinging = false;
  std::deque<std::string> outgoing;
  unsigned long signs_of_life = 0;
  ocpp_wire::call_queue calls;
};

void station_session::members::configure() {
  // The stream's own clock would cut a session that is merely quiet; the WebSocket's clock takes over.
  beast::get_lowest_layer(socket).expires_never();
  websocket::stream_base::timeout times{};
  times.handshake_timeout = limits.idle_time_out;
  times.idle_timeout = limits.idle_time_out;
  times.keep_alive_pings = true;
  socket.set_option(times);
  socket.read_message_max(message_bytes_limit);
  socket.set_option(websocket::stream_base::decorator([](websocket::response_type& response) {
    response.set(beast::http::field::sec_websocket_protocol, std::string(sub_protocol));
  }));
  socket.control_callback([this](websocket::frame_type, beast::string_view) { on_sign_of_life(); });
}

void station_session::members::send(std::shared_ptr<station_session> const& self, std::string frame) {
  outgoing.push_back(std::move(frame));
  if (!std::exchange(is_sending, true)) {
    asio::co_spawn(socket.get_executor(), send_all(self), asio::detached);
  }
}

asio::awaitable<void> station_session::members::send_all(std::shared_ptr<station_session> self) {
  while (!outgoing.empty() && !is_ended) {
    boost::system::error_code error;
    auto const frame = asio::buffer(outgoing.front());
    co_await socket.async_write(frame, asio::redirect_error(asio::use_awaitable, error));
    if (error) {
      self->drop();
      break;
    }
    outgoing.pop_front();
    changed.notify();
  }
  is_sending = false;
  changed.notify();
}

void station_session::members::on_sign_of_life() {
  ++signs_of_life;
  changed.notify();
}

std::string station_session::members::answer(call const& request) const {
  try {
    return handler(request);
  } catch (std::exception const& failure) {
    spdlog::error("[station_session] {}: {} could not be carried out: {}", name, printable(request.action),
                  failure.what());
    return encode(refused_call{request.id, {error_code::internal_error, "the site could not carry it out"}});
  }
}

void station_session::members::on_text(std::shared_ptr<station_session> const& self, std::string_view text) {
  auto received = decode(text);
  if (auto* const request = std::get_if<call>(&received)) {
    send(self, answer(*request));
  } else if (auto* const refused = std::get_if<refused_call>(&received)) {
    spdlog::warn("[station_session] {}: a call is refused: {}", name, refused->why.description);
    send(self, encode(*refused));
  } else if (auto* const result = std::get_if<call_result>(&received)) {
    on_answer(result->id, {call_end::answered, std::move(result->payload)}, "result");
  } else if (auto* const failure = std::get_if<call_error>(&received)) {
    on_answer(failure->id, {call_end::refused, {}},
              "error " + printable(failure->code) + ", " + printable(failure->description, 255));
  } else {
    spdlog::warn("[station_session] {}: a message is dropped: {}", name,
                 std::get<unidentified>(received).why);
  }
}

void station_session::members::on_answer(std::string const& id, call_outcome outcome,
                                         std::string const& what) {
  bool const is_refused = outcome.end != call_end::answered;
  if (!calls.on_answer(id, std::move(outcome))) {
    spdlog::warn("[station_session] {}: an answer is dropped, no call waits for it: id {}", name,
                 printable(id));
  } else if (is_refused) {
    spdlog::warn("[station_session] {}: call {} is answered with {}", name, id, what);
  }
}

void station_session::members::end() {
  is_ended = true;
  calls.abandon();
  beast::get_lowest_layer(socket).close();
  changed.notify();
}

station_session::station_session(beast::tcp_stream stream, std::string name, session_limits limits,
                                 call_handler handler)
    : own(std::make_unique<members>(
          std::move(stream), std::move(name), limits, std::move(handler),
          [this](std::string frame) { own->send(shared_from_this(), std::move(frame)); })) {
  own->configure();
}

station_session::~station_session() = default;

asio::awaitable<bool> station_session::open(upgrade_request const& request) {
  auto const self = shared_from_this();
  boost::system::error_code error;
  co_await own->socket.async_accept(request, asio::redirect_error(asio::use_awaitable, error));
  own->is_open = !error && !own->is_ended;
  if (!own->is_open) {
    own->end();
  }
  co_return own->is_open;
}

asio::awaitable<void> station_session::run() {
  auto const self = shared_from_this();
  beast::flat_buffer buffer;
  while (!own->is_ended) {
    boost::system::error_code error;
    co_await own->socket.async_read(buffer, asio::redirect_error(asio::use_awaitable, error));
    if (error || own->is_ended) {
      break;
    }
    own->on_sign_of_life();
    if (own->socket.got_text()) {
      auto const bytes = buffer.cdata();
      own->on_text(self, std::string_view(static_cast<char const*>(bytes.data()), bytes.size()));
    } else {
      spdlog::warn("[station_session] {}: a message is dropped: it is binary, OCPP-J is text", own->name);
    }
    buffer.consume(buffer.size());
    while (own->outgoing.size() > outgoing_limit && !own->is_ended) {
      co_await own->changed.wait_until(steady_clock::time_point::max());
    }
  }
  own->end();
}

asio::awaitable<call_outcome> station_session::send_call(std::string action, nlohmann::json payload) {
  auto const self = shared_from_this();
  if (!own->is_open) {
    co_return call_outcome();
  }
  auto outcome = co_await own->calls.call(action, std::move(payload));
  co_return outcome;
}

asio::awaitable<bool> station_session::is_alive(std::chrono::milliseconds patience) {
  auto const self = shared_from_this();
  if (!own->is_open || own->is_ended) {
    co_return !own->is_ended;
  }
  if (!std::exchange(own->is_pinging, true)) {
    // Sending may take for ever when the peer is gone, so the wait below does not depend on it.
    own->socket.async_ping({}, [self](boost::system::error_code) { self->own->is_pinging = false; });
  }
  auto const before = own->signs_of_life;
  auto const deadline = steady_clock::now() + patience;
  while (own->signs_of_life == before && !own->is_ended && steady_clock::now() < deadline) {
    co_await own->changed.wait_until(deadline);
  }
  co_return own->signs_of_life != before && !own->is_ended;
}

void station_session::close() {
  if (!own->is_open || own->is_ended) {
    drop();
    return;
  }
  own->socket.async_close(websocket::close_code::going_away,
                          [self = shared_from_this()](boost::system::error_code) { self->own->end(); });
}

void station_session::drop() {
  own->end();
}

}  // namespace tavi::site::ocpp
