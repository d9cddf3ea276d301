#include "file_download.h"

#include <algorithm>
#include <charconv>
#include <fstream>
#include <utility>

#include "download_answer.h"
#include "web_transfer.h"

namespace tavi::simulator {

namespace asio = boost::asio;

namespace {

constexpr std::size_t sniffed_bytes = 256;

download_head read_head(web_transfer const& transfer) {
  download_head head;
  head.status = transfer.status();
  head.tag = transfer.field("ETag");
  head.content_type = transfer.field("Content-Type");
  head.content_range = transfer.field("Content-Range");
  head.is_chunked = !transfer.field("Transfer-Encoding").empty();
  auto const length = transfer.field("Content-Length");
  std::uint64_t bytes = 0;
  auto const error = std::from_chars(length.data(), length.data() + length.size(), bytes).ec;
  if (!head.is_chunked && error == std::errc()) {
    head.length = bytes;
  }
  return head;
}

}  // namespace

struct file_download::members {
  members(asio::any_io_executor const& loop, station_pace const& limits, std::filesystem::path path)
      : transfer(loop, limits), target(std::move(path)) {}

  [[nodiscard]] web_request make_request();
  [[nodiscard]] std::string prepare(download_head const& head);
  [[nodiscard]] std::string take(std::string_view piece);
  [[nodiscard]] std::string refuse(std::string reason);
  [[nodiscard]] std::string check_content();

  web_transfer transfer;
  std::filesystem::path target;
  std::ofstream file;
  download_state state;
  std::string fault;  ///< why this try was broken off from here
  bool may_retry = true;
  std::optional<std::uint64_t> break_at;
  bool is_broken = false;
};

web_request file_download::members::make_request() {
  web_request request;
  if (state.bytes > 0) {
    request.fields = {"Range: bytes=" + std::to_string(state.bytes) + "-", "If-Range: " + state.tag};
  }
  request.on_head = [this] {
    fault = prepare(read_head(transfer));
    return fault.empty();
  };
  request.on_body = [this](std::string_view piece) {
    fault = take(piece);
    return fault.empty();
  };
  return request;
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

std::string file_download::members::take(std::string_view piece) {
  bool const is_breaking = break_at && !is_broken && state.bytes + piece.size() >= *break_at;
  if (is_breaking) {
    piece = piece.substr(0, static_cast<std::size_t>(*break_at - std::min(*break_at, state.bytes)));
    is_broken = true;
  }
  file.write(piece.data(), static_cast<std::streamsize>(piece.size()));
  if (!file) {
    return refuse("cannot write " + target.string());
  }
  state.bytes += piece.size();
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

file_download::file_download(asio::any_io_executor const& loop, station_pace const& pace,
                             std::filesystem::path target)
    : own(std::make_shared<members>(loop, pace, std::move(target))) {
}

file_download::~file_download() = default;

void file_download::break_after(std::optional<std::uint64_t> bytes) {
  own->break_at = bytes;
}

asio::awaitable<download_outcome> file_download::get(web_location server) {
  auto const self = own;
  self->fault.clear();
  auto const request = self->make_request();
  auto reason = co_await self->transfer.run(std::move(server), request);
  if (self->file.is_open()) {
    // What is there is kept for the next try, broken or not.
    self->file.close();
    if (self->file.fail()) {
      self->fault = self->refuse("cannot write " + self->target.string());
    }
  }
  if (!self->fault.empty()) {
    reason = self->fault;
  }
  if (reason.empty()) {
    reason = self->check_content();
  }
  if (self->state.tag.empty() && !reason.empty()) {
    self->state = {};
  }
  download_outcome outcome;
  outcome.is_done = reason.empty();
  outcome.may_retry = self->may_retry && !self->transfer.is_cancelled();
  outcome.bytes = self->state.bytes;
  outcome.reason = std::move(reason);
  co_return outcome;
}

void file_download::cancel() {
  own->transfer.cancel();
}

bool file_download::was_broken() const {
  return own->is_broken;
}

}  // namespace tavi::simulator
