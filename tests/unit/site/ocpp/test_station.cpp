#include "test_station.h"

#include <chrono>

#include <boost/asio/io_context.hpp>
#include <boost/asio/ip/tcp.hpp>
#include <boost/beast/core/flat_buffer.hpp>
#include <boost/beast/http/field.hpp>
#include <boost/beast/websocket/stream.hpp>

namespace asio = boost::asio;
namespace websocket = boost::beast::websocket;

struct test_station::members {
  /// Runs what was begun until it is done. @return whether it went well within the limit
  bool finish(std::optional<boost::system::error_code> const& result) {
    auto const deadline = std::chrono::steady_clock::now() + std::chrono::seconds(30);
    loop.restart();
    while (!result.has_value() && loop.run_one_until(deadline) > 0) {
    }
    if (!result.has_value()) {
      boost::system::error_code ignored;
      socket.next_layer().close(ignored);
      loop.restart();
      loop.run();
      return false;
    }
    return !*result;
  }

  bool write(std::string const& bytes) {
    std::optional<boost::system::error_code> result;
    socket.async_write(asio::buffer(bytes),
                       [&](boost::system::error_code error, std::size_t) { result = error; });
    return finish(result);
  }

  asio::io_context loop;
  websocket::stream<asio::ip::tcp::socket> socket{loop};
  websocket::response_type response;
  unsigned int last_call = 0;
};

test_station::test_station() : own(std::make_unique<members>()) {
}
test_station::~test_station() = default;
test_station::test_station(test_station&&) noexcept = default;
test_station& test_station::operator=(test_station&&) noexcept = default;

unsigned int test_station::connect(std::uint16_t port, std::string const& target,
                                   std::string const& protocol) {
  own->socket.set_option(websocket::stream_base::decorator([protocol](websocket::request_type& request) {
    if (!protocol.empty()) {
      request.set(boost::beast::http::field::sec_websocket_protocol, protocol);
    }
  }));
  boost::system::error_code error;
  own->socket.next_layer().connect({asio::ip::address_v4::loopback(), port}, error);
  if (error) {
    return 0;
  }
  std::optional<boost::system::error_code> result;
  own->socket.async_handshake(own->response, "localhost", target,
                              [&](boost::system::error_code outcome) { result = outcome; });
  own->finish(result);
  return own->response.result_int() == 200 ? 0 : own->response.result_int();
}

bool test_station::send(std::string const& text) {
  own->socket.text(true);
  return own->write(text);
}

bool test_station::send_binary(std::string const& bytes) {
  own->socket.binary(true);
  return own->write(bytes);
}

std::optional<std::string> test_station::receive() {
  std::string text;
  auto buffer = asio::dynamic_buffer(text);
  std::optional<boost::system::error_code> result;
  own->socket.async_read(buffer, [&](boost::system::error_code error, std::size_t) { result = error; });
  return own->finish(result) ? std::optional(text) : std::nullopt;
}

nlohmann::json test_station::call(std::string const& action, nlohmann::json const& payload) {
  auto const id = "t" + std::to_string(++own->last_call);
  if (!send(nlohmann::json::array({2, id, action, payload}).dump())) {
    return nullptr;
  }
  auto const answer = receive();
  return answer.has_value() ? nlohmann::json::parse(*answer) : nlohmann::json();
}

unsigned int test_station::close_code() const {
  return own->socket.reason().code;
}

std::string test_station::protocol() const {
  auto const chosen = own->response[boost::beast::http::field::sec_websocket_protocol];
  return {chosen.data(), chosen.size()};
}

void test_station::close() {
  std::optional<boost::system::error_code> result;
  own->socket.async_close(websocket::close_code::normal,
                          [&](boost::system::error_code error) { result = error; });
  own->finish(result);
}

void test_station::cut() {
  boost::system::error_code ignored;
  own->socket.next_layer().close(ignored);
}
