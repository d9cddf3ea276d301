#include "firmware/delivery_session.h"

#include <algorithm>
#include <chrono>
#include <functional>
#include <span>
#include <string>
#include <utility>
#include <variant>
#include <vector>

#include <boost/asio/redirect_error.hpp>
#include <boost/asio/use_awaitable.hpp>
#include <spdlog/spdlog.h>

#include "blocking_work.h"
#include "deadline.h"
#include "firmware/firmware_file.h"
#include "firmware/firmware_request.h"
#include "request_text.h"
#include "token_target.h"

namespace tavi::site::firmware {
namespace {

namespace asio = boost::asio;
namespace beast_http = boost::beast::http;
using std::chrono::milliseconds;
using std::chrono::steady_clock;

constexpr std::size_t chunk_bytes = 64 * 1024;
/// What the system holds for a connection beyond that. As much has to be taken before a slow reader is seen
/// to take anything.
constexpr int send_buffer_bytes = 64 * 1024;

http::http_answer make_answer(beast_http::status status, std::string const& text) {
  http::http_answer answer;
  answer.status = status;
  answer.text = text;
  return answer;
}

/// The file name in a location is for the station; the token alone decides.
http::token_location const fetched_location{"/firmware/",
                                            "firmware",
                                            {beast_http::verb::get, beast_http::verb::head},
                                            "firmware is fetched with GET or HEAD"};

/// By then a delivery of which nothing is taken has been cut off.
std::chrono::seconds retry_time(delivery_times const& times) {
  return std::max(std::chrono::ceil<std::chrono::seconds>(times.idle_time), std::chrono::seconds(1));
}

/// A file that cannot be had any more is told apart from one that cannot be had at present.
http::http_answer answer_for(std::error_code const& error, delivery_times const& times) {
  for (auto const gone : {std::errc::no_such_file_or_directory, std::errc::not_a_directory,
                          std::errc::too_many_symbolic_link_levels, std::errc::permission_denied}) {
    if (error == gone) {
      return make_answer(beast_http::status::gone, "this file is no longer there");
    }
  }
  auto answer = make_answer(beast_http::status::service_unavailable, "the file cannot be read at present");
  answer.retry_after = retry_time(times);
  return answer;
}

/// The connection is not kept, because whoever waits for a delivery is to hold no connection of others.
http::http_answer answer_for(slot_answer busy, delivery_times const& times) {
  auto answer =
      busy == slot_answer::token_busy
          ? make_answer(beast_http::status::too_many_requests, "this location is being fetched already")
          : make_answer(beast_http::status::service_unavailable, "too many files are being fetched");
  answer.retry_after = retry_time(times);
  answer.is_last = true;
  return answer;
}

/// The part of one request that begins when its token was found good.
class delivery_session {
 public:
  delivery_session(http::http_exchange& connection, firmware_services& shared, delivery wanted,
                   std::string const& token)
      : exchange(connection),
        services(shared),
        what(std::move(wanted)),
        shown_token(http::shorten_token(token)) {}

  asio::awaitable<bool> run();

 private:
  asio::awaitable<bool> refuse(std::error_code const& error);
  asio::awaitable<std::string> send_body(byte_range range);
  asio::awaitable<std::string> send_chunk(std::span<char const> bytes);
  asio::awaitable<std::error_code> run_on_disk(std::function<std::error_code()> job);
  bool cut(std::string const& reason);

  http::http_exchange& exchange;
  firmware_services& services;
  delivery what;
  std::string shown_token;  // for logs
  std::unique_ptr<firmware_file> file;
  steady_clock::time_point ends_at;
};

asio::awaitable<bool> delivery_session::run() {
  std::function<std::error_code()> job = [this] {
    std::error_code error;
    file = firmware_file::open(what.file, error);
    return error;
  };
  auto const opened = co_await run_on_disk(std::move(job));
  if (!file) {
    co_return co_await refuse(opened);
  }
  auto const plan = plan_delivery(exchange.parser.get(), file->state());
  auto const is_written = co_await http::send_head(exchange, plan.head);
  if (!is_written) {
    co_return false;
  }
  auto const fault = co_await send_body(plan.body);
  if (!fault.empty()) {
    co_return cut(fault);
  }
  spdlog::info("[firmware_server] {} got {} for station {} with token {}: {} bytes from {} of {}",
               exchange.peer, static_cast<unsigned int>(plan.head.status), what.station, shown_token,
               plan.body.count, plan.body.first, http::escape_for_log(what.file.string(), 500));
  co_return co_await http::finish_answer(exchange);
}

asio::awaitable<bool> delivery_session::refuse(std::error_code const& error) {
  auto const answer = answer_for(error, services.times);
  spdlog::warn("[firmware_server] {} got {} for station {} with token {}: {}: {}", exchange.peer,
               static_cast<unsigned int>(answer.status), what.station, shown_token,
               http::escape_for_log(what.file.string(), 500), error.message());
  co_return co_await http::send_answer(exchange, answer);
}

/// @return why it was not sent whole; empty when it was
asio::awaitable<std::string> delivery_session::send_body(byte_range range) {
  boost::system::error_code ignored;
  exchange.stream.socket().set_option(asio::socket_base::send_buffer_size(send_buffer_bytes), ignored);
  ends_at = steady_clock::now() + services.times.total_time;
  std::vector<char> chunk(std::min<std::uint64_t>(range.count, chunk_bytes));
  for (std::uint64_t sent = 0; sent < range.count;) {
    std::span<char> const piece(chunk.data(), std::min<std::uint64_t>(range.count - sent, chunk.size()));
    auto const offset = range.first + sent;
    std::function<std::error_code()> job = [this, offset, piece] { return file->read(offset, piece); };
    auto const error = co_await run_on_disk(std::move(job));
    if (error) {
      co_return error == std::errc::text_file_busy ? std::string("the file changed")
                                                   : "the file cannot be read any more: " + error.message();
    }
    auto fault = co_await send_chunk(piece);
    if (!fault.empty()) {
      co_return fault;
    }
    sent += piece.size();
  }
  co_return std::string();
}

asio::awaitable<std::string> delivery_session::send_chunk(std::span<char const> bytes) {
  http::deadline limit(exchange.stream);
  while (!bytes.empty()) {
    auto const left = std::chrono::ceil<milliseconds>(ends_at - steady_clock::now());
    if (left <= milliseconds(0)) {
      co_return std::string("it takes too long altogether");
    }
    limit.start(std::min(left, services.times.idle_time));
    boost::system::error_code error;
    auto const source = asio::buffer(bytes.data(), bytes.size());
    auto const count =
        co_await exchange.stream.async_write_some(source, asio::redirect_error(asio::use_awaitable, error));
    limit.stop();
    if (error) {
      co_return limit.is_over() ? std::string("it takes the file too slowly") : error.message();
    }
    bytes = bytes.subspan(count);
  }
  co_return std::string();
}

asio::awaitable<std::error_code> delivery_session::run_on_disk(std::function<std::error_code()> job) {
  if (services.is_closing) {
    co_return std::make_error_code(std::errc::operation_canceled);
  }
  co_return co_await http::run_blocking(services.disk, std::move(job));
}

bool delivery_session::cut(std::string const& reason) {
  spdlog::warn("[firmware_server] {} is cut off, station {}, token {}: {}", exchange.peer, what.station,
               shown_token, reason);
  // Closed in order, the system would go on offering what the peer does not take.
  boost::system::error_code ignored;
  exchange.stream.socket().set_option(asio::socket_base::linger(true, 0), ignored);
  exchange.stream.close();
  return false;
}

asio::awaitable<bool> refuse_delivery(http::http_exchange& exchange, std::string const& token,
                                      http::http_answer const& answer) {
  spdlog::info("[firmware_server] {} got {} for token {}: {}", exchange.peer,
               static_cast<unsigned int>(answer.status), http::shorten_token(token), answer.text);
  co_return co_await http::send_answer(exchange, answer);
}

}  // namespace

asio::awaitable<bool> deliver_firmware(http::http_exchange& exchange,
                                       std::shared_ptr<firmware_services> services) {
  auto const target = http::find_token_target(exchange.parser.get(), fetched_location);
  if (auto const* const refusal = std::get_if<http::http_answer>(&target)) {
    co_return co_await http::send_answer(exchange, *refusal);
  }
  auto const& token = std::get<http::token_target>(target).token;
  auto const found = services->tokens.find(token, steady_clock::now());
  if (found.answer != delivery_answer::granted) {
    auto const is_gone = found.answer == delivery_answer::gone;
    auto const answer = is_gone ? make_answer(beast_http::status::gone, "the time of this location is over")
                                : make_answer(beast_http::status::not_found, "location unknown");
    co_return co_await refuse_delivery(exchange, token, answer);
  }
  delivery_slot const slot(services->slots, token);
  if (slot.answer() != slot_answer::granted) {
    auto const answer = answer_for(slot.answer(), services->times);
    co_return co_await refuse_delivery(exchange, token, answer);
  }
  delivery_session session(exchange, *services, found.what, token);
  co_return co_await session.run();
}

}  // namespace tavi::site::firmware
