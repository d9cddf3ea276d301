#include "scripted_firmware_server.h"

#include <array>
#include <utility>

#include <boost/asio/buffer.hpp>
#include <boost/asio/co_spawn.hpp>
#include <boost/asio/detached.hpp>
#include <boost/asio/redirect_error.hpp>
#include <boost/asio/use_awaitable.hpp>

namespace asio = boost::asio;
using boost::system::error_code;
using tcp = asio::ip::tcp;

scripted_firmware_server::scripted_firmware_server(asio::io_context& event_loop)
    : loop(event_loop),
      acceptor(std::make_shared<tcp::acceptor>(loop, tcp::endpoint(asio::ip::address_v4::loopback(), 0))),
      released(loop, asio::steady_timer::time_point::max()) {
  asio::co_spawn(loop, accept(this, acceptor), asio::detached);
}

scripted_firmware_server::~scripted_firmware_server() {
  acceptor->close();
}

std::string scripted_firmware_server::url(std::string const& rest) const {
  return "http://127.0.0.1:" + std::to_string(acceptor->local_endpoint().port()) + "/firmware/" + rest;
}

void scripted_firmware_server::release() {
  released.expires_after(std::chrono::seconds(0));
}

std::string scripted_firmware_server::answer(std::string const& status, std::string const& body,
                                             std::string const& fields) {
  return "HTTP/1.1 " + status + "\r\nContent-Length: " + std::to_string(body.size()) + "\r\n" + fields +
         "\r\n" + body;
}

asio::awaitable<void> scripted_firmware_server::accept(scripted_firmware_server* self,
                                                       std::shared_ptr<tcp::acceptor> listener) {
  error_code error;
  auto token = asio::redirect_error(asio::use_awaitable, error);
  while (true) {
    auto socket = co_await listener->async_accept(token);
    if (error) {
      co_return;
    }
    asio::co_spawn(self->loop, serve(self, std::move(socket)), asio::detached);
  }
}

asio::awaitable<void> scripted_firmware_server::serve(scripted_firmware_server* self, tcp::socket socket) {
  error_code error;
  auto token = asio::redirect_error(asio::use_awaitable, error);
  std::string head;
  std::array<char, 4096> piece{};
  while (head.find("\r\n\r\n") == std::string::npos && !error) {
    auto const target = asio::buffer(piece);
    auto const count = co_await socket.async_read_some(target, token);
    head.append(piece.data(), count);
  }
  self->requests.push_back(head);
  scripted_answer next{answer("404 Not Found", "nothing here")};
  if (!self->answers.empty()) {
    next = std::move(self->answers.front());
    self->answers.pop_front();
  }
  for (std::size_t sent = 0; sent < next.bytes.size() && !error;) {
    auto const source = asio::buffer(next.bytes.data() + sent, next.bytes.size() - sent);
    sent += co_await socket.async_write_some(source, token);
  }
  if (next.then == after_answer::hold) {
    co_await self->released.async_wait(token);
  }
  if (next.then == after_answer::reset) {
    // The station may be told of the reset before it has read what came, so it reads first.
    socket.shutdown(tcp::socket::shutdown_send, error);
    auto const target = asio::buffer(piece);
    co_await socket.async_read_some(target, token);
    socket.set_option(asio::socket_base::linger(true, 0), error);
  }
  socket.close(error);
}
