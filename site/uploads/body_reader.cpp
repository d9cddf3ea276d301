#include "uploads/body_reader.h"

#include <errno.h>

#include <algorithm>
#include <chrono>
#include <vector>

#include <boost/asio/redirect_error.hpp>
#include <boost/asio/use_awaitable.hpp>
#include <boost/beast/http/error.hpp>
#include <boost/beast/http/read.hpp>
#include <spdlog/spdlog.h>

#include "deadline.h"

namespace tavi::site::uploads {
namespace {

namespace asio = boost::asio;
namespace beast_http = boost::beast::http;
using std::chrono::milliseconds;
using std::chrono::steady_clock;

constexpr std::size_t chunk_bytes = 64 * 1024;

body_result judge_read_error(boost::system::error_code const& error, bool is_late) {
  if (is_late) {
    return body_result::too_slow;
  }
  auto const is_cut =
      error == beast_http::error::end_of_stream || error == beast_http::error::partial_message;
  auto const is_http =
      error.category() == beast_http::make_error_code(beast_http::error::bad_chunk).category();
  return is_http && !is_cut ? body_result::malformed : body_result::cut;
}

}  // namespace

body_result judge_disk_error(std::error_code const& error) {
  spdlog::error("[upload_server] cannot write to the spool: {}", error.message());
  auto const is_full = error == std::errc::no_space_on_device || error == std::errc::file_too_large ||
                       error == std::error_code(EDQUOT, std::generic_category());
  return is_full ? body_result::spool_full : body_result::disk_failure;
}

body_sink::body_sink(spool& used, partial_upload& file, std::uint64_t limit,
                     std::optional<std::string> const& boundary)
    : files(used), target(file), max_bytes(limit) {
  if (boundary) {
    parts.emplace(*boundary);
  }
}

body_result body_sink::take(std::string_view chunk) {
  received += chunk.size();
  if (received > max_bytes) {
    return body_result::too_large;
  }
  if (!parts) {
    return write(chunk);
  }
  file_bytes.clear();
  parts_state = parts->feed(chunk, file_bytes);
  return parts_state == multipart_parser::state::broken ? body_result::malformed : write(file_bytes);
}

body_result body_sink::write(std::string_view bytes) {
  if (!files.reserve(target, target.size() + bytes.size())) {
    return body_result::spool_full;
  }
  auto const error = target.write(bytes);
  return error ? judge_disk_error(error) : body_result::complete;
}

body_result body_sink::finish() const {
  auto const is_whole = !parts || (parts_state == multipart_parser::state::complete && parts->has_file());
  return is_whole ? body_result::complete : body_result::malformed;
}

asio::awaitable<body_result> read_body(http::http_exchange& exchange, body_sink& sink,
                                       upload_limits const& limits) {
  std::vector<char> chunk(chunk_bytes);
  auto const ends_at = steady_clock::now() + limits.total_time;
  http::deadline limit(exchange.stream);
  while (!exchange.parser.is_done()) {
    auto const left = std::chrono::ceil<milliseconds>(ends_at - steady_clock::now());
    if (left <= milliseconds(0)) {
      co_return body_result::too_slow;
    }
    auto& body = exchange.parser.get().body();
    body.data = chunk.data();
    body.size = chunk.size();
    limit.start(std::min(left, limits.idle_time));
    boost::system::error_code error;
    co_await beast_http::async_read_some(exchange.stream, exchange.buffer, exchange.parser,
                                         asio::redirect_error(asio::use_awaitable, error));
    limit.stop();
    if (error && error != beast_http::error::need_buffer) {
      co_return judge_read_error(error, limit.is_over());
    }
    auto const taken = sink.take(std::string_view(chunk.data(), chunk.size() - body.size));
    if (taken != body_result::complete) {
      co_return taken;
    }
  }
  co_return sink.finish();
}

}  // namespace tavi::site::uploads
