#include "file_upload.h"

#include <utility>

#include <boost/asio/redirect_error.hpp>
#include <boost/asio/use_awaitable.hpp>
#include <boost/beast/core/flat_buffer.hpp>
#include <boost/beast/http.hpp>

#include "request_fields.h"
#include "web_connection.h"

namespace tavi::simulator {

namespace asio = boost::asio;
namespace beast = boost::beast;
namespace beast_http = boost::beast::http;
using boost::system::error_code;

struct file_upload::members {
  members(asio::any_io_executor loop, station_pace const& limits) : connection(std::move(loop), limits) {}

  [[nodiscard]] asio::awaitable<error_code> send(beast_http::request<beast_http::file_body>& request);
  [[nodiscard]] asio::awaitable<error_code> read_status(unsigned int& status);
  [[nodiscard]] asio::awaitable<void> transfer(web_location const& server,
                                               beast_http::request<beast_http::file_body>& request,
                                               upload_outcome& outcome);

  web_connection connection;
};

namespace {

error_code open_request(web_location const& server, std::filesystem::path const& file,
                        beast_http::request<beast_http::file_body>& request) {
  error_code error;
  request.version(11);
  request.method(beast_http::verb::put);
  request.target(server.path);
  request.body().open(file.c_str(), beast::file_mode::scan, error);
  if (error) {
    return error;
  }
  request.set(beast_http::field::host, host_field(server));
  request.set(beast_http::field::user_agent, "charging_station_simulator");
  request.set(beast_http::field::content_type, "application/gzip");
  request.keep_alive(false);
  request.prepare_payload();
  return error;
}

void judge(unsigned int status, upload_outcome& outcome) {
  outcome.is_done = status >= 200 && status <= 299;
  outcome.may_retry = is_worth_retrying(status);
  outcome.reason = outcome.is_done ? "" : "the server answered with status " + std::to_string(status);
}

}  // namespace

asio::awaitable<error_code> file_upload::members::send(beast_http::request<beast_http::file_body>& request) {
  error_code error;
  auto token = asio::redirect_error(asio::use_awaitable, error);
  beast_http::request_serializer<beast_http::file_body> serializer(request);
  while (!error && !serializer.is_done()) {
    // Counted anew for each piece: a large file may take long, but it may not stand still.
    connection.expect_progress();
    co_await beast_http::async_write_some(connection.stream(), serializer, token);
  }
  co_return error;
}

asio::awaitable<error_code> file_upload::members::read_status(unsigned int& status) {
  error_code error;
  auto token = asio::redirect_error(asio::use_awaitable, error);
  beast::flat_buffer buffer;
  status = 0;
  while (!error && status < 200) {
    beast_http::response_parser<beast_http::empty_body> parser;
    connection.expect_progress();
    co_await beast_http::async_read_header(connection.stream(), buffer, parser, token);
    status = error ? 0 : parser.get().result_int();
  }
  co_return error;
}

asio::awaitable<void> file_upload::members::transfer(web_location const& server,
                                                     beast_http::request<beast_http::file_body>& request,
                                                     upload_outcome& outcome) {
  auto const connected = co_await connection.open(server);
  if (connected) {
    outcome.reason = "cannot connect to " + host_field(server) + ": " + connected.message();
    co_return;
  }
  auto const sent = co_await send(request);
  // A server that refuses early closes while the body is still being sent; its answer lies there to be read.
  unsigned int status = 0;
  auto const received = co_await read_status(status);
  if (!received) {
    judge(status, outcome);
  } else {
    outcome.reason = "the transfer broke off: " + (sent ? sent : received).message();
  }
}

file_upload::file_upload(asio::any_io_executor loop, station_pace const& pace)
    : own(std::make_shared<members>(std::move(loop), pace)) {
}

file_upload::~file_upload() = default;

asio::awaitable<upload_outcome> file_upload::put(web_location server, std::filesystem::path file) {
  auto const self = own;
  upload_outcome outcome;
  beast_http::request<beast_http::file_body> request;
  if (auto const error = open_request(server, file, request); error) {
    outcome.may_retry = false;
    outcome.reason = "cannot open " + file.string() + ": " + error.message();
    co_return outcome;
  }
  outcome.bytes = request.body().size();
  if (!self->connection.is_cancelled()) {
    co_await self->transfer(server, request, outcome);
    self->connection.close();
  }
  if (self->connection.is_cancelled() && !outcome.is_done) {
    outcome.may_retry = false;
    outcome.reason = "the station was stopped";
  }
  co_return outcome;
}

void file_upload::cancel() {
  own->connection.cancel();
}

}  // namespace tavi::simulator
