#include "diagnostics_job.h"

#include <utility>

#include <boost/asio/redirect_error.hpp>
#include <boost/asio/use_awaitable.hpp>
#include <spdlog/spdlog.h>

namespace tavi::simulator {

namespace asio = boost::asio;

diagnostics_job::diagnostics_job(asio::any_io_executor loop, diagnostics_request asked, std::string name,
                                 station_options const& settings)
    : request(std::move(asked)),
      file(std::move(name)),
      identity(settings.identity),
      target(parse_web_location(request.location, "http")),
      archive(loop, settings.work_folder, file),
      transfer(loop, settings.pace),
      pause(loop) {
  if (target) {
    target->path = append_segment(target->path, file);
  }
}

asio::awaitable<std::string> diagnostics_job::prepare(diagnostics_material material) {
  auto const self = shared_from_this();
  if (!target) {
    // Without the location itself, because it holds an upload token.
    co_return std::string("the location cannot be used, expected http://host:port/path");
  }
  auto failure = co_await archive.make(std::move(material));
  co_return failure;
}

asio::awaitable<upload_outcome> diagnostics_job::upload() {
  auto const self = shared_from_this();
  for (unsigned int tries_left = request.retries;; --tries_left) {
    auto outcome = co_await transfer.put(*target, archive.path());
    if (outcome.is_done || !outcome.may_retry || tries_left == 0 || is_cancelled) {
      co_return outcome;
    }
    spdlog::info("{} tries to upload {} again in {} s: {}", identity, file, request.retry_interval.count(),
                 outcome.reason);
    boost::system::error_code ignored;
    pause.expires_after(request.retry_interval);
    co_await pause.async_wait(asio::redirect_error(asio::use_awaitable, ignored));
  }
}

void diagnostics_job::cancel() {
  is_cancelled = true;
  transfer.cancel();
  pause.cancel();
}

}  // namespace tavi::simulator
