#include "file_upload.h"

#include <cerrno>
#include <fstream>
#include <system_error>
#include <utility>

#include "request_fields.h"
#include "web_transfer.h"

namespace tavi::simulator {

namespace asio = boost::asio;

namespace {

web_request make_request(std::ifstream& stream, std::uint64_t bytes) {
  web_request request;
  // The body follows at once: a station does not wait to be told to go on.
  request.fields = {"Content-Type: application/gzip", "Expect:"};
  request.upload_bytes = bytes;
  request.on_sending = [&stream](char* space, std::size_t size) -> std::optional<std::size_t> {
    stream.read(space, static_cast<std::streamsize>(size));
    return stream.bad() ? std::nullopt : std::optional(static_cast<std::size_t>(stream.gcount()));
  };
  return request;
}

void judge(unsigned int status, upload_outcome& outcome) {
  outcome.is_done = status >= 200 && status <= 299;
  outcome.may_retry = is_worth_retrying(status);
  outcome.reason = outcome.is_done ? "" : "the server answered with status " + std::to_string(status);
}

}  // namespace

struct file_upload::members {
  members(asio::any_io_executor const& loop, station_pace const& limits) : transfer(loop, limits) {}

  web_transfer transfer;
};

file_upload::file_upload(asio::any_io_executor const& loop, station_pace const& pace)
    : own(std::make_shared<members>(loop, pace)) {
}

file_upload::~file_upload() = default;

asio::awaitable<upload_outcome> file_upload::put(web_location server, std::filesystem::path file) {
  auto const self = own;
  upload_outcome outcome;
  std::error_code error;
  outcome.bytes = std::filesystem::file_size(file, error);
  std::ifstream stream(file, std::ios::binary);
  if (error || !stream.is_open()) {
    auto const why = error ? error : std::error_code(errno, std::generic_category());
    outcome.bytes = 0;
    outcome.may_retry = false;
    outcome.reason = "cannot open " + file.string() + ": " + why.message();
    co_return outcome;
  }
  auto const request = make_request(stream, outcome.bytes);
  outcome.reason = co_await self->transfer.run(std::move(server), request);
  // A server that refuses may close before it has read everything: what it said counts.
  if (auto const status = self->transfer.status(); status != 0) {
    judge(status, outcome);
  }
  if (self->transfer.is_cancelled() && !outcome.is_done) {
    outcome.may_retry = false;
    outcome.reason = "the station was stopped";
  }
  co_return outcome;
}

void file_upload::cancel() {
  own->transfer.cancel();
}

}  // namespace tavi::simulator
