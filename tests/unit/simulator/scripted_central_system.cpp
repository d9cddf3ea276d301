#include "scripted_central_system.h"

#include <algorithm>
#include <chrono>
#include <utility>

#include <boost/asio/co_spawn.hpp>
#include <boost/asio/detached.hpp>
#include <boost/asio/redirect_error.hpp>
#include <boost/asio/use_awaitable.hpp>
#include <boost/beast/core/buffers_to_string.hpp>
#include <boost/beast/http.hpp>

namespace asio = boost::asio;
namespace beast = boost::beast;
namespace beast_http = boost::beast::http;
namespace websocket = boost::beast::websocket;
using boost::system::error_code;
using nlohmann::json;
using tcp = asio::ip::tcp;

scripted_central_system::scripted_central_system(asio::io_context& event_loop, std::uint16_t port)
    : loop(event_loop),
      acceptor(
          std::make_shared<tcp::acceptor>(loop, tcp::endpoint(asio::ip::make_address_v4("127.0.0.1"), port))),
      own_port(acceptor->local_endpoint().port()),
      released(loop, asio::steady_timer::time_point::max()) {
  asio::co_spawn(loop, accept(this, acceptor), asio::detached);
}

scripted_central_system::~scripted_central_system() {
  acceptor->close();
}

std::string scripted_central_system::station_url() const {
  return "ws://127.0.0.1:" + std::to_string(own_port) + "/ocpp";
}

std::string scripted_central_system::upload_url() const {
  return "http://127.0.0.1:" + std::to_string(own_port) + "/upload/token";
}

void scripted_central_system::send(std::string text) {
  queue(link_now, std::move(text));
}

void scripted_central_system::send_binary(std::string text) {
  queue(link_now, std::move(text), false);
}

void scripted_central_system::ask_for_diagnostics(std::string const& id, std::string const& location,
                                                  json const& more) {
  json payload = more;
  payload["location"] = location;
  send(json::array({2, id, "GetDiagnostics", payload}).dump());
}

void scripted_central_system::cut() {
  beast::get_lowest_layer(link_now->socket).close();
}

void scripted_central_system::release_uploads() {
  released.expires_after(std::chrono::seconds(0));
}

std::size_t scripted_central_system::count(std::string const& beginning) const {
  return static_cast<std::size_t>(std::count_if(
      trace.begin(), trace.end(), [&](std::string const& entry) { return entry.starts_with(beginning); }));
}

json scripted_central_system::answer(std::string const& id) const {
  for (auto const& frame : frames) {
    if (frame[0] != 2 && frame[1] == id) {
      return frame;
    }
  }
  return {};
}

asio::awaitable<void> scripted_central_system::accept(scripted_central_system* self,
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

asio::awaitable<void> scripted_central_system::serve(scripted_central_system* self, tcp::socket socket) {
  beast::tcp_stream stream(std::move(socket));
  beast::flat_buffer buffer;
  parser_type parser;
  parser.body_limit(std::uint64_t{64} * 1024 * 1024);
  error_code error;
  auto token = asio::redirect_error(asio::use_awaitable, error);
  co_await beast_http::async_read_header(stream, buffer, parser, token);
  if (error) {
    co_return;
  }
  if (!websocket::is_upgrade(parser.get())) {
    co_await serve_upload(self, stream, buffer, parser);
    co_return;
  }
  if (self->is_refusing) {
    self->trace.emplace_back("refused");
    co_await answer_status(stream, 401);
    co_return;
  }
  auto request = parser.release();
  co_await serve_station(self, std::move(stream), std::move(request));
}

asio::awaitable<void> scripted_central_system::serve_station(
    scripted_central_system* self, beast::tcp_stream stream,
    beast_http::request<beast_http::string_body> request) {
  auto const link = std::make_shared<station_link>(std::move(stream));
  self->last_target = std::string(request.target());
  self->offered_sub_protocol = std::string(request[beast_http::field::sec_websocket_protocol]);
  auto const chosen = self->sub_protocol;
  link->socket.set_option(websocket::stream_base::decorator([chosen](websocket::response_type& response) {
    if (!chosen.empty()) {
      response.set(beast_http::field::sec_websocket_protocol, chosen);
    }
  }));
  error_code error;
  auto token = asio::redirect_error(asio::use_awaitable, error);
  co_await link->socket.async_accept(request, token);
  if (error) {
    co_return;
  }
  self->trace.emplace_back("connected");
  self->link_now = link;
  beast::flat_buffer buffer;
  while (true) {
    co_await link->socket.async_read(buffer, token);
    if (error) {
      break;
    }
    self->on_frame(link, beast::buffers_to_string(buffer.cdata()));
    buffer.clear();
    if (self->stop_reading) {
      co_return;
    }
  }
  self->trace.emplace_back(error == websocket::error::closed ? "closed" : "lost");
}

asio::awaitable<void> scripted_central_system::serve_upload(scripted_central_system* self,
                                                            beast::tcp_stream& stream,
                                                            beast::flat_buffer& buffer, parser_type& parser) {
  self->trace.emplace_back("upload begins");
  auto rule = upload_rule::accept;
  if (!self->upload_rules.empty()) {
    rule = self->upload_rules.front();
    self->upload_rules.pop_front();
  }
  error_code error;
  auto token = asio::redirect_error(asio::use_awaitable, error);
  if (rule == upload_rule::cut) {
    stream.socket().set_option(asio::socket_base::linger(true, 0), error);
    stream.close();
    co_return;
  }
  if (rule == upload_rule::refuse || rule == upload_rule::busy) {
    co_await answer_status(stream, rule == upload_rule::refuse ? 404 : 503);
    co_return;
  }
  if (rule == upload_rule::hold) {
    co_await self->released.async_wait(token);
  }
  co_await beast_http::async_read(stream, buffer, parser, token);
  if (error) {
    self->trace.emplace_back("upload broken");
    co_return;
  }
  auto const& request = parser.get();
  self->uploads.push_back({std::string(request.target()),
                           std::string(request[beast_http::field::content_length]), request.body()});
  self->trace.emplace_back("upload whole");
  co_await answer_status(stream, 201);
}

asio::awaitable<void> scripted_central_system::answer_status(beast::tcp_stream& stream, unsigned int status) {
  beast_http::response<beast_http::empty_body> response;
  response.version(11);
  response.result(status);
  response.keep_alive(false);
  response.prepare_payload();
  error_code error;
  auto token = asio::redirect_error(asio::use_awaitable, error);
  co_await beast_http::async_write(stream, response, token);
  stream.socket().shutdown(tcp::socket::shutdown_send, error);
}

asio::awaitable<void> scripted_central_system::write(std::shared_ptr<station_link> link) {
  error_code error;
  auto token = asio::redirect_error(asio::use_awaitable, error);
  while (!link->outbox.empty() && !error) {
    auto const [text, is_text] = std::move(link->outbox.front());
    link->outbox.pop_front();
    auto const content = asio::buffer(text);
    link->socket.text(is_text);
    co_await link->socket.async_write(content, token);
  }
  link->is_writing = false;
}

void scripted_central_system::queue(std::shared_ptr<station_link> const& link, std::string text,
                                    bool is_text) {
  link->outbox.emplace_back(std::move(text), is_text);
  if (!std::exchange(link->is_writing, true)) {
    asio::co_spawn(loop, write(link), asio::detached);
  }
}

void scripted_central_system::on_frame(std::shared_ptr<station_link> const& link, std::string const& text) {
  auto const frame = json::parse(text);
  frames.push_back(frame);
  auto const id = frame[1].get<std::string>();
  if (frame[0] != 2) {
    trace.push_back((frame[0] == 3 ? "result " : "error ") + id);
    return;
  }
  auto const action = frame[2].get<std::string>();
  auto const status = frame[3].value("status", "");
  trace.push_back(status.empty() ? action : action + " " + status);
  if (!drop_at.empty() && trace.back() == drop_at) {
    drop_at.clear();
    beast::get_lowest_layer(link->socket).close();
    return;
  }
  if (action == silent_at) {
    silent_at.clear();
    return;
  }
  queue(link, json::array({3, id, make_result(action)}).dump());
}

json scripted_central_system::make_result(std::string const& action) {
  json result = json::object();
  if (action == "BootNotification") {
    result["status"] = "Accepted";
    result["interval"] = 300;
    result["currentTime"] = "2026-11-20T12:00:00Z";
    if (!boot_answers.empty()) {
      result.update(boot_answers.front());
      boot_answers.pop_front();
    }
  }
  return result;
}
