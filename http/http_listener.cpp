#include "http_listener.h"

#include <algorithm>
#include <exception>
#include <list>
#include <optional>
#include <string_view>
#include <utility>
#include <vector>

#include <boost/asio/co_spawn.hpp>
#include <boost/asio/detached.hpp>
#include <boost/asio/ip/tcp.hpp>
#include <boost/asio/redirect_error.hpp>
#include <boost/asio/steady_timer.hpp>
#include <boost/asio/use_awaitable.hpp>
#include <boost/beast/http/error.hpp>
#include <boost/beast/http/read.hpp>
#include <spdlog/spdlog.h>

#include "deadline.h"
#include "http_answer.h"
#include "request_target.h"

namespace tavi::http {
namespace {

namespace asio = boost::asio;
namespace beast_http = boost::beast::http;
using asio::ip::tcp;

struct route_entry {
  std::string prefix;
  http_route route;
};

using connection_list = std::list<std::unique_ptr<http_exchange>>;

// For what is read ahead of the parser besides a header: a piece of a body, or a chunk's extensions or the
// trailer, which the parser takes only when they are whole.
constexpr std::size_t read_ahead_bytes = 64 * 1024;

enum class header_result { complete, closed, malformed, without_host, too_large, too_slow };

std::string name_of(tcp::endpoint const& end) {
  auto const address = end.address().to_string();
  auto const port = std::to_string(end.port());
  return end.address().is_v6() ? "[" + address + "]:" + port : address + ":" + port;
}

header_result judge_header(boost::system::error_code error, bool is_late, bool has_bytes) {
  if (!error && !is_late) {
    return header_result::complete;
  }
  if (is_late) {
    return has_bytes ? header_result::too_slow : header_result::closed;
  }
  if (error == beast_http::error::header_limit || error == beast_http::error::buffer_overflow) {
    return header_result::too_large;
  }
  auto const http_category =
      beast_http::make_error_code(beast_http::error::bad_version).category() == error.category();
  auto const is_cut =
      error == beast_http::error::end_of_stream || error == beast_http::error::partial_message;
  return http_category && !is_cut ? header_result::malformed : header_result::closed;
}

asio::awaitable<header_result> read_header(http_exchange& exchange, http_limits const& limits) {
  exchange.parser.body_limit(boost::none);
  exchange.parser.header_limit(static_cast<std::uint32_t>(limits.header_bytes));
  deadline limit(exchange.stream);
  limit.start(limits.header_time);
  boost::system::error_code error;
  co_await beast_http::async_read_header(exchange.stream, exchange.buffer, exchange.parser,
                                         asio::redirect_error(asio::use_awaitable, error));
  auto const has_bytes = exchange.parser.got_some() || exchange.buffer.size() > 0;
  auto const result = judge_header(error, limit.is_over(), has_bytes);
  auto const is_hostless = result == header_result::complete && !has_proper_host(exchange.parser.get());
  co_return is_hostless ? header_result::without_host : result;
}

asio::awaitable<void> refuse_header(http_exchange& exchange, header_result result) {
  http_answer answer;
  answer.is_last = true;
  if (result == header_result::too_large) {
    answer.status = beast_http::status::request_header_fields_too_large;
    answer.text = "request header too large";
  } else if (result == header_result::too_slow) {
    answer.status = beast_http::status::request_timeout;
    answer.text = "request header too slow";
  } else if (result == header_result::without_host) {
    answer.status = beast_http::status::bad_request;
    answer.text = "one Host field expected";
  } else {
    answer.status = beast_http::status::bad_request;
    answer.text = "request header malformed";
  }
  spdlog::info("[http_listener] {}: {}", exchange.peer, answer.text);
  co_await send_answer(exchange, answer);
}

}  // namespace

struct http_listener::members : std::enable_shared_from_this<http_listener::members> {
  members(asio::io_context& site_loop, http_limits const& chosen)
      : loop(site_loop), limits(chosen), acceptor(site_loop), pause(site_loop) {}

  void bind(tcp::endpoint const& end);
  http_route const* find_route(std::string_view target) const;
  std::size_t count_own_connections() const;
  void open_connection(tcp::socket socket);
  void note_accept_failure(boost::system::error_code const& error);

  asio::awaitable<void> accept_all();
  asio::awaitable<bool> accept_next();
  asio::awaitable<bool> serve_request(http_exchange& exchange);
  asio::awaitable<void> serve(connection_list::iterator place);

  asio::io_context& loop;
  http_limits limits;
  tcp::acceptor acceptor;
  asio::steady_timer pause;
  std::vector<route_entry> routes;
  connection_list connections;
  bool is_running = false;
  // One line for each time that it begins, however many connections it concerns.
  bool is_accept_failing = false;
  bool is_full = false;
};

void http_listener::members::bind(tcp::endpoint const& end) {
  acceptor.open(end.protocol());
  acceptor.set_option(asio::socket_base::reuse_address(true));
  acceptor.bind(end);
  acceptor.listen();
}

http_route const* http_listener::members::find_route(std::string_view target) const {
  route_entry const* best = nullptr;
  for (auto const& entry : routes) {
    if (target.starts_with(entry.prefix) && (best == nullptr || entry.prefix.size() > best->prefix.size())) {
      best = &entry;
    }
  }
  return best == nullptr ? nullptr : &best->route;
}

void http_listener::members::note_accept_failure(boost::system::error_code const& error) {
  if (!std::exchange(is_accept_failing, true)) {
    spdlog::error("[http_listener] cannot accept connections at present: {}", error.message());
  }
}

/// A stream that a route has moved away leaves a closed one behind.
std::size_t http_listener::members::count_own_connections() const {
  auto const count = std::count_if(connections.begin(), connections.end(), [](auto const& connection) {
    return connection->stream.socket().is_open();
  });
  return static_cast<std::size_t>(count);
}

void http_listener::members::open_connection(tcp::socket socket) {
  if (count_own_connections() >= limits.connections) {
    if (!std::exchange(is_full, true)) {
      spdlog::warn("[http_listener] {} connections are open, the most allowed; further ones are closed",
                   limits.connections);
    }
    return;
  }
  is_full = false;
  boost::system::error_code error;
  auto const peer = socket.remote_endpoint(error);
  if (error) {
    return;
  }
  socket.set_option(tcp::no_delay(true), error);
  boost::beast::flat_buffer buffer(limits.header_bytes + read_ahead_bytes);
  auto const place = connections.insert(
      connections.end(), std::make_unique<http_exchange>(boost::beast::tcp_stream(std::move(socket)),
                                                         std::move(buffer), name_of(peer)));
  asio::co_spawn(
      loop, [self = shared_from_this(), place] { return self->serve(place); },
      [self = shared_from_this(), place](std::exception_ptr) { self->connections.erase(place); });
}

asio::awaitable<void> http_listener::members::accept_all() {
  while (is_running) {
    auto is_accepted = false;
    try {
      is_accepted = co_await accept_next();
    } catch (std::exception const& failure) {
      spdlog::error("[http_listener] a connection could not be opened: {}", failure.what());
    }
    if (!is_accepted && is_running) {
      boost::system::error_code ignored;
      pause.expires_after(limits.accept_pause);
      co_await pause.async_wait(asio::redirect_error(asio::use_awaitable, ignored));
    }
  }
}

/// @return false when there should be a pause before the next one
asio::awaitable<bool> http_listener::members::accept_next() {
  boost::system::error_code error;
  auto socket = co_await acceptor.async_accept(asio::redirect_error(asio::use_awaitable, error));
  if (!is_running) {
    co_return false;
  }
  if (error) {
    note_accept_failure(error);
    co_return false;
  }
  is_accept_failing = false;
  open_connection(std::move(socket));
  co_return true;
}

asio::awaitable<bool> http_listener::members::serve_request(http_exchange& exchange) {
  auto const header = co_await read_header(exchange, limits);
  if (header == header_result::closed || !is_running) {
    co_return false;
  }
  if (header != header_result::complete) {
    co_await refuse_header(exchange, header);
    co_return false;
  }
  auto& request = exchange.parser.get();
  auto const target = to_origin_form({request.target().data(), request.target().size()});
  request.target(target);
  auto const* const route = find_route(target);
  if (route == nullptr) {
    http_answer answer;
    answer.status = beast_http::status::not_found;
    answer.text = "nothing here";
    co_return co_await send_answer(exchange, answer);
  }
  auto const goes_on = co_await (*route)(exchange);
  co_return goes_on&& exchange.parser.is_done();
}

asio::awaitable<void> http_listener::members::serve(connection_list::iterator place) {
  try {
    while (is_running && co_await serve_request(**place)) {
      // A parser serves one request; what was read ahead of the next one stays.
      auto& last = **place;
      auto next = std::make_unique<http_exchange>(std::move(last.stream), std::move(last.buffer), last.peer);
      *place = std::move(next);
    }
  } catch (std::exception const& failure) {
    spdlog::error("[http_listener] {}: connection ends by an exception: {}", (*place)->peer, failure.what());
  }
  (*place)->stream.close();
}

http_listener::http_listener(asio::io_context& loop, http_limits limits)
    : own(std::make_shared<members>(loop, limits)) {
}

http_listener::~http_listener() {
  stop();
}

void http_listener::add_route(std::string const& prefix, http_route route) {
  own->routes.push_back({prefix, std::move(route)});
}

bool http_listener::start(std::string const& address, std::uint16_t port) {
  try {
    own->bind(tcp::endpoint(asio::ip::make_address(address), port));
  } catch (boost::system::system_error const& failure) {
    spdlog::error("[http_listener] cannot listen on address {}, port {}: {}", address, port,
                  failure.code().message());
    boost::system::error_code ignored;
    own->acceptor.close(ignored);
    return false;
  }
  own->is_running = true;
  asio::co_spawn(
      own->loop, [kept = own] { return kept->accept_all(); }, asio::detached);
  spdlog::info("[http_listener] listens on {}", name_of(own->acceptor.local_endpoint()));
  return true;
}

std::uint16_t http_listener::port() const {
  boost::system::error_code error;
  auto const end = own->acceptor.local_endpoint(error);
  return error ? std::uint16_t{0} : end.port();
}

void http_listener::stop() {
  own->is_running = false;
  boost::system::error_code ignored;
  own->acceptor.close(ignored);
  own->pause.cancel();
  for (auto const& connection : own->connections) {
    connection->stream.close();
  }
}

}  // namespace tavi::http
