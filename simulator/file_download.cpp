#include "file_download.h"

#include <algorithm>
#include <fstream>
#include <system_error>
#include <utility>
#include <vector>

#include <boost/asio/redirect_error.hpp>
#include <boost/asio/use_awaitable.hpp>
#include <boost/beast/core/flat_buffer.hpp>
#include <boost/beast/http.hpp>

#include "download_answer.h"
#include "web_connection.h"

namespace tavi::simulator {

namespace asio = boost::asio;
namespace beast = boost::beast;
namespace beast_http = boost::beast::http;
using boost::system::error_code;

namespace {

using parser_type = beast_http::response_parser<beast_http::buffer_body>;

constexpr std::size_t chunk_bytes = 64 * 1024;
constexpr std::size_t sniffed_bytes = 256;

std::string to_text(beast::string_view text) {
  return {text.data(), text.size()};
}

download_head read_head(parser_type const& parser) {
  auto const& answer = parser.get();
  download_head head;
  head.status = answer.result_int();
  head.tag = to_text(answer[beast_http::field::etag]);
  head.content_type = to_text(answer[beast_http::field::content_type]);
  head.content_range = to_text(answer[beast_http::field::content_range]);
  head.is_chunked = parser.chunked();
  if (auto const length = parser.content_length()) {
    head.length = *length;
  }
  return head;
}

}  // namespace

struct file_download::members {
  members(asio::any_io_executor loop, station_pace const& limits, std::filesystem::path path)
      : connection(std::move(loop), limits), target(std::move(path)), chunk(chunk_bytes) {}

  [[nodiscard]] beast_http::request<beast_http::empty_body> make_request(web_location const& server) const;
  [[nodiscard]] asio::awaitable<std::string> fetch(web_location const& server);
  [[nodiscard]] asio::awaitable<std::string> read_answer();
  [[nodiscard]] asio::awaitable<std::string> read_body(beast::flat_buffer& buffer, parser_type& parser);
  [[nodiscard]] std::string prepare(download_head const& head);
  [[nodiscard]] std::string take(std::size_t size);
  [[nodiscard]] std::string refuse(std::string reason);
  [[nodiscard]] std::string check_content();

  web_connection connection;
  std::filesystem::path target;
  std::vector<char> chunk;
  std::ofstream file;
  download_state state;
  bool may_retry = true;
  std::optional<std::uint64_t> break_at;
  bool is_broken = false;
};

beast_http::request<beast_http::empty_body> file_download::members::make_request(
    web_location const& server) const {
  beast_http::request<beast_http::empty_body> request(beast_http::verb::get, server.path, 11);
  request.set(beast_http::field::host, host_field(server));
  request.set(beast_http::field::user_agent, "charging_station_simulator");
  request.keep_alive(false);
  if (state.bytes > 0) {
    request.set(beast_http::field::range, "bytes=" + std::to_string(state.bytes) + "-");
    request.set(beast_http::field::if_range, state.tag);
  }
  return request;
}

/// Each of these says why it failed, and nothing when it did not.
asio::awaitable<std::string> file_download::members::fetch(web_location const& server) {
  auto const connected = co_await connection.open(server);
  if (connected) {
    co_return "cannot connect to " + host_field(server) + ": " + connected.message();
  }
  auto const request = make_request(server);
  error_code error;
  connection.expect_progress();
  co_await beast_http::async_write(connection.stream(), request,
                                   asio::redirect_error(asio::use_awaitable, error));
  if (error) {
    co_return "the transfer broke off: " + error.message();
  }
  co_return co_await read_answer();
}

asio::awaitable<std::string> file_download::members::read_answer() {
  beast::flat_buffer buffer;
  parser_type parser;
  parser.body_limit(boost::none);
  error_code error;
  connection.expect_progress();
  co_await beast_http::async_read_header(connection.stream(), buffer, parser,
                                         asio::redirect_error(asio::use_awaitable, error));
  if (error) {
    co_return "the transfer broke off: " + error.message();
  }
  auto const head = read_head(parser);
  auto fault = prepare(head);
  if (!fault.empty()) {
    co_return fault;
  }
  fault = co_await read_body(buffer, parser);
  // What is there is kept for the next try, broken or not.
  file.close();
  if (file.fail()) {
    fault = refuse("cannot write " + target.string());
  }
  co_return fault.empty() ? check_content() : fault;
}

std::string file_download::members::prepare(download_head const& head) {
  auto decision = judge_download(head, state);
  if (decision.step == download_step::give_up) {
    return refuse(std::move(decision.reason));
  }
  if (decision.step == download_step::try_again) {
    state = {};
    return decision.reason;
  }
  auto mode = std::ios::binary | std::ios::out | std::ios::app;
  if (decision.step == download_step::take_whole) {
    state = {0, is_strong_tag(head.tag) ? head.tag : std::string(), {}};
    mode = std::ios::binary | std::ios::out | std::ios::trunc;
  }
  state.total = decision.total;
  file.clear();
  file.open(target, mode);
  return file.is_open() ? std::string() : refuse("cannot open " + target.string());
}

asio::awaitable<std::string> file_download::members::read_body(beast::flat_buffer& buffer,
                                                               parser_type& parser) {
  while (!parser.is_done()) {
    auto& body = parser.get().body();
    body.data = chunk.data();
    body.size = chunk.size();
    error_code error;
    connection.expect_progress();
    co_await beast_http::async_read_some(connection.stream(), buffer, parser,
                                         asio::redirect_error(asio::use_awaitable, error));
    auto const fault = take(chunk.size() - body.size);
    if (!fault.empty()) {
      co_return fault;
    }
    if (error && error != beast_http::error::need_buffer) {
      co_return "the transfer broke off: " + error.message();
    }
  }
  co_return std::string();
}

std::string file_download::members::take(std::size_t size) {
  bool const is_breaking = break_at && !is_broken && state.bytes + size >= *break_at;
  if (is_breaking) {
    size = static_cast<std::size_t>(*break_at - std::min(*break_at, state.bytes));
    is_broken = true;
  }
  file.write(chunk.data(), static_cast<std::streamsize>(size));
  if (!file) {
    return refuse("cannot write " + target.string());
  }
  state.bytes += size;
  if (state.bytes > largest_firmware) {
    return refuse("the file is larger than a firmware can be");
  }
  return is_breaking ? "the connection was cut after " + std::to_string(state.bytes) + " bytes, as told"
                     : std::string();
}

std::string file_download::members::check_content() {
  if (auto const told = state.total.value_or(state.bytes); told != state.bytes) {
    auto const count = state.bytes;
    state = {};
    return "the server sent " + std::to_string(count) + " bytes of " + std::to_string(told);
  }
  if (state.bytes == 0) {
    return refuse("the file is empty");
  }
  std::string beginning(sniffed_bytes, '\0');
  std::ifstream written(target, std::ios::binary);
  written.read(beginning.data(), static_cast<std::streamsize>(beginning.size()));
  beginning.resize(static_cast<std::size_t>(written.gcount()));
  return is_web_page(beginning) ? refuse("the server sent a web page") : std::string();
}

std::string file_download::members::refuse(std::string reason) {
  may_retry = false;
  return reason;
}

file_download::file_download(asio::any_io_executor loop, station_pace const& pace,
                             std::filesystem::path target)
    : own(std::make_shared<members>(std::move(loop), pace, std::move(target))) {
}

file_download::~file_download() = default;

void file_download::break_after(std::optional<std::uint64_t> bytes) {
  own->break_at = bytes;
}

asio::awaitable<download_outcome> file_download::get(web_location server) {
  auto const self = own;
  download_outcome outcome;
  if (self->connection.is_cancelled()) {
    outcome.reason = "the station was stopped";
  } else {
    outcome.reason = co_await self->fetch(server);
    self->connection.close();
  }
  if (self->state.tag.empty() && !outcome.reason.empty()) {
    self->state = {};
  }
  outcome.is_done = outcome.reason.empty();
  outcome.may_retry = self->may_retry && !self->connection.is_cancelled();
  outcome.bytes = self->state.bytes;
  co_return outcome;
}

void file_download::cancel() {
  own->connection.cancel();
}

bool file_download::was_broken() const {
  return own->is_broken;
}

}  // namespace tavi::simulator
