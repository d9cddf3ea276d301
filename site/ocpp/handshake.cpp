#include "ocpp/handshake.h"

#include <algorithm>
#include <chrono>
#include <utility>

#include <boost/asio/redirect_error.hpp>
#include <boost/asio/use_awaitable.hpp>
#include <boost/beast/http/string_body.hpp>
#include <boost/beast/http/write.hpp>
#include <boost/beast/websocket/stream.hpp>

#include "http_date.h"
#include "mura_common/text.h"
#include "request_text.h"

namespace tavi::site::ocpp {

namespace {

namespace asio = boost::asio;
namespace beast_http = boost::beast::http;
namespace websocket = boost::beast::websocket;

constexpr std::chrono::seconds answer_time(10);
/// For the whole of a connection that is only opened to be closed.
constexpr std::chrono::seconds farewell_time(1);
constexpr std::string_view target_prefix = "/ocpp/";

}  // namespace

bool is_identity(std::string_view identity) {
  auto const is_control = [](char c) { return static_cast<unsigned char>(c) < 0x20 || c == 0x7F; };
  return !identity.empty() && identity.size() <= identity_limit &&
         std::none_of(identity.begin(), identity.end(), is_control) && mura_common::is_utf8(identity);
}

std::optional<std::string> read_identity(std::string_view target) {
  if (!mura_common::startsWith(target, target_prefix)) {
    return std::nullopt;
  }
  target.remove_prefix(target_prefix.size());
  auto const escaped = target.substr(0, target.find('?'));
  if (escaped.find('/') != std::string_view::npos) {
    return std::nullopt;
  }
  auto identity = http::percent_decode(escaped);
  return identity.has_value() && is_identity(*identity) ? identity : std::nullopt;
}

bool has_sub_protocol(std::string_view offered) {
  while (!offered.empty()) {
    auto const comma = offered.find(',');
    if (http::trim(offered.substr(0, comma)) == sub_protocol) {
      return true;
    }
    offered.remove_prefix(comma == std::string_view::npos ? offered.size() : comma + 1);
  }
  return false;
}

asio::awaitable<bool> ask_for_web_socket(http::http_exchange& exchange) {
  auto const& request = exchange.parser.get();
  beast_http::response<beast_http::string_body> response(beast_http::status::upgrade_required,
                                                         request.version() == 10 ? 10 : 11);
  response.set(beast_http::field::date, http::to_http_date(std::chrono::system_clock::now()));
  response.set(beast_http::field::upgrade, "websocket");
  response.set(beast_http::field::connection, "Upgrade");
  response.set(beast_http::field::content_type, "text/plain; charset=utf-8");
  response.keep_alive(request.keep_alive());
  std::string const text = "a WebSocket is wanted here\n";
  response.content_length(text.size());
  if (request.method() != beast_http::verb::head) {
    response.body() = text;
  }
  boost::system::error_code error;
  exchange.stream.expires_after(answer_time);
  co_await beast_http::async_write(exchange.stream, response,
                                   asio::redirect_error(asio::use_awaitable, error));
  exchange.stream.expires_never();
  co_return !error && request.keep_alive();
}

asio::awaitable<void> open_and_close(http::http_exchange& exchange) {
  websocket::stream<boost::beast::tcp_stream> socket(std::move(exchange.stream));
  socket.set_option(websocket::stream_base::timeout{farewell_time, websocket::stream_base::none(), false});
  auto const& request = exchange.parser.get();
  boost::system::error_code error;
  co_await socket.async_accept(request, asio::redirect_error(asio::use_awaitable, error));
  if (!error) {
    co_await socket.async_close(websocket::close_code::protocol_error,
                                asio::redirect_error(asio::use_awaitable, error));
  }
}

}  // namespace tavi::site::ocpp
