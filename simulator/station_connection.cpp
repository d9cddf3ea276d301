#include "station_connection.h"

#include <deque>
#include <utility>

#include <boost/asio/ip/tcp.hpp>
#include <boost/asio/redirect_error.hpp>
#include <boost/asio/steady_timer.hpp>
#include <boost/asio/use_awaitable.hpp>
#include <boost/beast/core/buffers_to_string.hpp>
#include <boost/beast/core/flat_buffer.hpp>
#include <boost/beast/core/tcp_stream.hpp>
#include <boost/beast/websocket.hpp>
#include <spdlog/spdlog.h>

#include "spawn_task.h"

namespace tavi::simulator {

namespace asio = boost::asio;
namespace beast = boost::beast;
namespace websocket = boost::beast::websocket;
using boost::system::error_code;

namespace {

constexpr std::size_t largest_message = 1024 * 1024;
constexpr std::size_t longest_outbox = 1000;
constexpr auto sub_protocol = "ocpp1.6";

}  // namespace

struct station_connection::members : std::enable_shared_from_this<members> {
  members(asio::any_io_executor loop, station_pace const& limits)
      : executor(std::move(loop)),
        pace(limits),
        resolver(executor),
        socket(executor),
        outbox_signal(executor),
        close_alarm(executor) {}

  [[nodiscard]] asio::awaitable<std::string> connect(web_location const& server);
  [[nodiscard]] asio::awaitable<std::string> shake_hands(web_location const& server);
  static asio::awaitable<void> write_outbox(std::shared_ptr<members> self);
  void prepare_handshake();
  void cut();

  asio::any_io_executor executor;
  station_pace pace;
  asio::ip::tcp::resolver resolver;
  websocket::stream<beast::tcp_stream> socket;
  std::deque<std::string> outbox;
  asio::steady_timer outbox_signal;  ///< cancelled to wake the writer
  asio::steady_timer close_alarm;
  bool is_open = false;
  bool is_closing = false;
};

asio::awaitable<std::string> station_connection::members::connect(web_location const& server) {
  error_code error;
  auto token = asio::redirect_error(asio::use_awaitable, error);
  auto const addresses = co_await resolver.async_resolve(server.host, server.port, token);
  if (error || is_closing) {
    co_return error ? error.message() : std::string("closed while connecting");
  }
  auto& stream = beast::get_lowest_layer(socket);
  stream.expires_after(pace.connect_time);
  co_await stream.async_connect(addresses, token);
  if (error || is_closing) {
    co_return error ? error.message() : std::string("closed while connecting");
  }
  stream.socket().set_option(asio::ip::tcp::no_delay(true), error);
  // From here on the WebSocket keeps the time itself.
  stream.expires_never();
  co_return std::string();
}

void station_connection::members::prepare_handshake() {
  websocket::stream_base::timeout times;
  times.handshake_timeout = pace.connect_time;
  times.idle_timeout = pace.idle_time;
  times.keep_alive_pings = true;
  socket.set_option(times);
  socket.set_option(websocket::stream_base::decorator([](websocket::request_type& request) {
    request.set(beast::http::field::sec_websocket_protocol, sub_protocol);
    request.set(beast::http::field::user_agent, "charging_station_simulator");
  }));
  socket.read_message_max(largest_message);
  socket.text(true);
}

asio::awaitable<std::string> station_connection::members::shake_hands(web_location const& server) {
  prepare_handshake();
  websocket::response_type response;
  auto const host = host_field(server);
  error_code error;
  auto token = asio::redirect_error(asio::use_awaitable, error);
  co_await socket.async_handshake(response, host, server.path, token);
  if (error == websocket::error::upgrade_declined) {
    co_return "refused with status " + std::to_string(response.result_int());
  }
  if (error || is_closing) {
    co_return error ? error.message() : std::string("closed while connecting");
  }
  auto const chosen = response.find(beast::http::field::sec_websocket_protocol);
  if (chosen == response.end() || chosen->value() != sub_protocol) {
    co_return std::string("the server did not choose the sub-protocol ocpp1.6");
  }
  co_return std::string();
}

asio::awaitable<void> station_connection::members::write_outbox(std::shared_ptr<members> self) {
  error_code error;
  auto token = asio::redirect_error(asio::use_awaitable, error);
  while (self->is_open && !(self->is_closing && self->outbox.empty())) {
    if (self->outbox.empty()) {
      self->outbox_signal.expires_at(asio::steady_timer::time_point::max());
      co_await self->outbox_signal.async_wait(token);
      continue;
    }
    auto const text = std::move(self->outbox.front());
    self->outbox.pop_front();
    auto const content = asio::buffer(text);
    co_await self->socket.async_write(content, token);
    if (error) {
      // The reader sees the same loss and ends the connection.
      self->cut();
      co_return;
    }
  }
  if (self->is_open) {
    websocket::close_reason const reason(websocket::close_code::going_away);
    co_await self->socket.async_close(reason, token);
  }
}

void station_connection::members::cut() {
  resolver.cancel();
  beast::get_lowest_layer(socket).close();
}

station_connection::station_connection(asio::any_io_executor loop, station_pace const& pace)
    : own(std::make_shared<members>(std::move(loop), pace)) {
}

station_connection::~station_connection() = default;

asio::awaitable<std::string> station_connection::open(web_location server) {
  auto const self = own;
  auto reason = co_await self->connect(server);
  if (reason.empty()) {
    reason = co_await self->shake_hands(server);
  }
  self->is_open = reason.empty();
  if (!self->is_open) {
    self->cut();
  }
  co_return reason;
}

asio::awaitable<std::string> station_connection::run(std::function<void(std::string const&)> on_text) {
  auto const self = own;
  spawn_task(self->executor, members::write_outbox(self));
  beast::flat_buffer buffer;
  error_code error;
  auto token = asio::redirect_error(asio::use_awaitable, error);
  while (true) {
    co_await self->socket.async_read(buffer, token);
    if (error) {
      break;
    }
    if (self->socket.got_text()) {
      on_text(beast::buffers_to_string(buffer.cdata()));
    } else {
      spdlog::warn("[station_connection] a binary frame of {} bytes was dropped, expected text",
                   buffer.size());
    }
    buffer.clear();
  }
  self->is_open = false;
  self->close_alarm.cancel();
  self->outbox_signal.cancel();
  self->cut();
  co_return error.message();
}

void station_connection::send(std::string text) {
  if (!own->is_open || own->is_closing) {
    return;
  }
  if (own->outbox.size() >= longest_outbox) {
    spdlog::warn("[station_connection] {} messages wait to be taken by the server, cut off",
                 own->outbox.size());
    own->cut();
    return;
  }
  own->outbox.push_back(std::move(text));
  own->outbox_signal.cancel();
}

void station_connection::close() {
  if (std::exchange(own->is_closing, true)) {
    return;
  }
  if (!own->is_open) {
    own->cut();
    return;
  }
  own->outbox_signal.cancel();
  own->close_alarm.expires_after(own->pace.close_time);
  own->close_alarm.async_wait([self = own](error_code error) {
    if (!error) {
      self->cut();
    }
  });
}

}  // namespace tavi::simulator
