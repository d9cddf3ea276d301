#include "uploads/upload_session.h"

#include <algorithm>
#include <chrono>
#include <string>
#include <utility>

#include <spdlog/spdlog.h>

#include "blocking_work.h"
#include "http_answer.h"
#include "request_text.h"
#include "token_target.h"
#include "uploads/body_reader.h"
#include "uploads/upload_request.h"

namespace tavi::site::uploads {
namespace {

namespace asio = boost::asio;
namespace beast_http = boost::beast::http;
using std::chrono::steady_clock;

http::token_location const upload_location{"/upload/",
                                           "upload",
                                           {beast_http::verb::put, beast_http::verb::post},
                                           "files are uploaded with PUT or POST"};

/// A token in use; given back at the end unless it was spent.
class token_use {
 public:
  token_use(token_store& store, std::string token) : tokens(store), used(std::move(token)) {}
  ~token_use() { tokens.release(used); }
  token_use(token_use const&) = delete;
  token_use& operator=(token_use const&) = delete;

  void spend() { tokens.spend(used, steady_clock::now()); }

 private:
  token_store& tokens;
  std::string used;
};

http::http_answer make_answer(beast_http::status status, std::string const& text) {
  http::http_answer answer;
  answer.status = status;
  answer.text = text;
  return answer;
}

http::http_answer answer_for(token_answer token) {
  switch (token) {
    case token_answer::in_use:
      return make_answer(beast_http::status::conflict, "an upload with this token is going on");
    case token_answer::gone:
      return make_answer(beast_http::status::gone, "this token was used already or its time is over");
    case token_answer::granted:
    case token_answer::unknown:
      break;
  }
  return make_answer(beast_http::status::not_found, "token unknown");
}

http::http_answer answer_for(body_result body) {
  switch (body) {
    case body_result::complete:
      return make_answer(beast_http::status::created, "file received");
    case body_result::cut:
    case body_result::malformed:
      return make_answer(beast_http::status::bad_request, "body malformed or without a file");
    case body_result::too_large:
      return make_answer(beast_http::status::payload_too_large, "file too large");
    case body_result::too_slow:
      return make_answer(beast_http::status::request_timeout, "body too slow");
    case body_result::spool_full:
      return make_answer(beast_http::status::insufficient_storage, "no room for the file");
    case body_result::disk_failure:
      break;
  }
  return make_answer(beast_http::status::internal_server_error, "file could not be stored");
}

/// The part of one request that begins when its token is granted.
class upload_session {
 public:
  upload_session(http::http_exchange& connection, upload_services& shared, http::token_target where,
                 token_grant right)
      : exchange(connection),
        services(shared),
        target(std::move(where)),
        grant(std::move(right)),
        use(shared.tokens, target.token) {}

  asio::awaitable<http::http_answer> run();

  /// Whether the peer is gone, so that nobody reads an answer.
  [[nodiscard]] bool is_cut() const { return is_connection_cut; }

 private:
  asio::awaitable<body_result> receive(announced_body const& body);
  asio::awaitable<body_result> keep(std::string const& part_name);
  void report();

  http::http_exchange& exchange;
  upload_services& services;
  http::token_target target;
  token_grant grant;
  token_use use;
  std::unique_ptr<partial_upload> file;
  finished_upload finished;
  bool is_connection_cut = false;
};

asio::awaitable<http::http_answer> upload_session::run() {
  std::optional<std::uint64_t> declared;
  if (auto const length = exchange.parser.content_length()) {
    declared = *length;
  }
  auto const body = find_announced_body(exchange.parser.get(), declared, services.limits);
  if (auto const* const refusal = std::get_if<http::http_answer>(&body)) {
    co_return *refusal;
  }
  auto const result = co_await receive(std::get<announced_body>(body));
  is_connection_cut = result == body_result::cut;
  if (result == body_result::complete) {
    report();
  }
  co_return answer_for(result);
}

asio::awaitable<body_result> upload_session::receive(announced_body const& body) {
  std::error_code error;
  file = services.files.begin(error);
  if (!file) {
    co_return judge_disk_error(error);
  }
  if (!services.files.reserve(*file, body.bytes.value_or(0))) {
    co_return body_result::spool_full;
  }
  if (body.is_awaiting_continue && exchange.buffer.size() == 0 && !exchange.parser.is_done()) {
    auto const is_sent = co_await http::send_continue(exchange);
    if (!is_sent) {
      co_return body_result::cut;
    }
  }
  body_sink sink(services.files, *file, services.limits.max_bytes, body.boundary);
  auto const result = co_await read_body(exchange, sink, services.limits);
  if (result != body_result::complete) {
    co_return result;
  }
  auto const part_name = sink.file_name();
  co_return co_await keep(part_name);
}

asio::awaitable<body_result> upload_session::keep(std::string const& part_name) {
  clock_reading const now;
  finished.id = file->id();
  finished.file_path = file->file_path();
  finished.token = target.token;
  finished.owner = grant.owner;
  finished.file_name = target.file_name.empty() ? part_name : target.file_name;
  finished.bytes = file->size();
  finished.expires_at = std::max(grant.expires_at, now.steady + services.limits.least_waiting_time);
  if (services.is_closing) {
    co_return body_result::cut;
  }
  std::function<std::error_code()> commit = [this, sidecar = write_sidecar(finished, now)] {
    return file->commit(sidecar);
  };
  auto const error = co_await http::run_blocking(services.disk, std::move(commit));
  co_return error ? judge_disk_error(error) : body_result::complete;
}

void upload_session::report() {
  use.spend();
  services.files.adopt(*file);
  spdlog::info("[upload_server] {} uploaded {} bytes for {} with token {}, named \"{}\"", exchange.peer,
               finished.bytes, http::escape_for_log(finished.owner), http::shorten_token(finished.token),
               http::escape_for_log(finished.file_name));
  services.on_finished(finished);
}

void log_refusal(http::http_exchange const& exchange, std::string const& token,
                 http::http_answer const& answer) {
  spdlog::info("[upload_server] {} got {} for token {}: {}", exchange.peer,
               static_cast<unsigned int>(answer.status), http::shorten_token(token), answer.text);
}

}  // namespace

asio::awaitable<bool> receive_upload(http::http_exchange& exchange,
                                     std::shared_ptr<upload_services> services) {
  auto const where = http::find_token_target(exchange.parser.get(), upload_location);
  if (auto const* const refusal = std::get_if<http::http_answer>(&where)) {
    co_return co_await http::send_answer(exchange, *refusal);
  }
  auto const& target = std::get<http::token_target>(where);
  auto const grant = services->tokens.acquire(target.token, steady_clock::now());
  http::http_answer answer = answer_for(grant.answer);
  if (grant.answer == token_answer::granted) {
    // Ends before the answer is sent: an uploader that was refused can try again as soon as it knows.
    upload_session session(exchange, *services, target, grant);
    answer = co_await session.run();
    if (session.is_cut()) {
      spdlog::info("[upload_server] {} broke off its upload with token {}", exchange.peer,
                   http::shorten_token(target.token));
      co_return false;
    }
  }
  if (answer.status != beast_http::status::created) {
    log_refusal(exchange, target.token, answer);
  }
  co_return co_await http::send_answer(exchange, answer);
}

}  // namespace tavi::site::uploads
