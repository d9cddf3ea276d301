#include "http_answer.h"

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

#include "http_date.h"

namespace tavi::http {
namespace {

namespace asio = boost::asio;
namespace beast_http = boost::beast::http;

constexpr auto write_time = std::chrono::seconds(10);
constexpr auto drain_time = std::chrono::seconds(2);
constexpr std::size_t drain_bytes = 1024 * 1024;

/// A head without a body is one of these too: each further type of response is compiled anew.
using text_response = beast_http::response<beast_http::string_body>;

bool keeps_open(http_exchange const& exchange) {
  return exchange.parser.is_done() && exchange.parser.get().keep_alive();
}

text_response begin_response(http_exchange const& exchange, beast_http::status status) {
  text_response response(status, exchange.parser.get().version() == 10 ? 10 : 11);
  response.keep_alive(keeps_open(exchange));
  response.set(beast_http::field::date, to_http_date(std::chrono::system_clock::now()));
  return response;
}

text_response make_response(http_exchange const& exchange, http_answer const& answer) {
  auto response = begin_response(exchange, answer.status);
  response.set(beast_http::field::content_type, "text/plain; charset=utf-8");
  if (!answer.allow.empty()) {
    response.set(beast_http::field::allow, answer.allow);
  }
  if (answer.retry_after.count() > 0) {
    response.set(beast_http::field::retry_after, std::to_string(answer.retry_after.count()));
  }
  if (answer.is_last) {
    response.keep_alive(false);
  }
  auto const text = answer.text + "\n";
  response.content_length(text.size());
  if (exchange.parser.get().method() != beast_http::verb::head) {
    response.body() = text;
  }
  return response;
}

asio::awaitable<bool> write_response(http_exchange& exchange, text_response const& response) {
  boost::system::error_code error;
  exchange.stream.expires_after(write_time);
  co_await beast_http::async_write(exchange.stream, response,
                                   asio::redirect_error(asio::use_awaitable, error));
  exchange.stream.expires_never();
  if (error) {
    exchange.stream.close();
  }
  co_return !error;
}

/// A connection that is closed while bytes of the peer are unread is reset, which may overtake the answer.
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
  auto const response = make_response(exchange, answer);
  auto const is_written = co_await write_response(exchange, response);
  if (!is_written) {
    co_return false;
  }
  if (answer.is_last) {
    co_await close_orderly(exchange.stream);
    co_return false;
  }
  co_return co_await finish_answer(exchange);
}

asio::awaitable<bool> send_head(http_exchange& exchange, http_head const& head) {
  auto response = begin_response(exchange, head.status);
  for (auto const& [field, value] : head.fields) {
    response.set(field, value);
  }
  response.content_length(head.content_length);
  auto const is_written = co_await write_response(exchange, response);
  co_return is_written;
}

asio::awaitable<bool> finish_answer(http_exchange& exchange) {
  auto const goes_on = keeps_open(exchange);
  if (!goes_on) {
    co_await close_orderly(exchange.stream);
  }
  co_return goes_on;
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

}  // namespace tavi::http
