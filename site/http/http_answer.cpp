#include "http/http_answer.h"

#include <array>
#include <chrono>
#include <string_view>

#include <boost/asio/buffer.hpp>
#include <boost/asio/redirect_error.hpp>
#include <boost/asio/use_awaitable.hpp>
#include <boost/asio/write.hpp>
#include <boost/beast/http/empty_body.hpp>
#include <boost/beast/http/string_body.hpp>
#include <boost/beast/http/write.hpp>

namespace tavi::site {
namespace {

namespace asio = boost::asio;
namespace http = boost::beast::http;

constexpr auto write_time = std::chrono::seconds(10);
constexpr auto drain_time = std::chrono::seconds(2);
constexpr std::size_t drain_bytes = 1024 * 1024;

http::response<http::string_body> make_response(http_exchange const& exchange, http_answer const& answer,
                                                bool keeps_open) {
  auto const& request = exchange.parser.get();
  http::response<http::string_body> response(answer.status, request.version() == 10 ? 10 : 11);
  response.set(http::field::content_type, "text/plain; charset=utf-8");
  if (!answer.allow.empty()) {
    response.set(http::field::allow, answer.allow);
  }
  response.keep_alive(keeps_open);
  auto const text = answer.text + "\n";
  response.content_length(text.size());
  if (request.method() != http::verb::head) {
    response.body() = text;
  }
  return response;
}

/// A connection that is closed while bytes of the peer are unread is reset, and the reset may overtake the
/// answer.
asio::awaitable<void> close_orderly(boost::beast::tcp_stream& stream) {
  boost::system::error_code error;
  stream.socket().shutdown(asio::ip::tcp::socket::shutdown_send, error);
  std::array<char, 8192> forgotten;
  std::size_t drained = 0;
  stream.expires_after(drain_time);
  while (!error && drained < drain_bytes) {
    auto const target = asio::buffer(forgotten);
    drained += co_await stream.async_read_some(target, asio::redirect_error(asio::use_awaitable, error));
  }
  stream.close();
}

}  // namespace

asio::awaitable<bool> send_answer(http_exchange& exchange, http_answer const& answer) {
  auto const keeps_open = exchange.parser.is_done() && exchange.parser.get().keep_alive();
  auto const response = make_response(exchange, answer, keeps_open);
  boost::system::error_code error;
  exchange.stream.expires_after(write_time);
  co_await http::async_write(exchange.stream, response, asio::redirect_error(asio::use_awaitable, error));
  exchange.stream.expires_never();
  if (error) {
    exchange.stream.close();
    co_return false;
  }
  if (!keeps_open) {
    co_await close_orderly(exchange.stream);
  }
  co_return keeps_open;
}

asio::awaitable<bool> send_continue(http_exchange& exchange) {
  constexpr std::string_view line = "HTTP/1.1 100 Continue\r\n\r\n";
  boost::system::error_code error;
  exchange.stream.expires_after(write_time);
  auto const source = asio::buffer(line);
  co_await asio::async_write(exchange.stream, source, asio::redirect_error(asio::use_awaitable, error));
  exchange.stream.expires_never();
  co_return !error;
}

}  // namespace tavi::site
