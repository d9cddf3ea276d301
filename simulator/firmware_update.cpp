#include "firmware_update.h"

#include <algorithm>
#include <utility>

#include <boost/asio/redirect_error.hpp>
#include <boost/asio/use_awaitable.hpp>
#include <spdlog/spdlog.h>

#include "blocking_work.h"
#include "loop_workers.h"
#include "mura_common/hash.h"
#include "mura_common/text.h"

namespace tavi::simulator {

namespace asio = boost::asio;
using std::chrono::milliseconds;

namespace {

/// The system's clock may be set while a date is waited for.
constexpr milliseconds longest_wait = std::chrono::minutes(1);

}  // namespace

firmware_update::firmware_update(asio::any_io_executor loop, firmware_request asked,
                                 station_options const& settings, std::string const& name, teller tell)
    : executor(loop),
      request(std::move(asked)),
      options(settings),
      file(settings.work_folder / "firmware" / name),
      source(parse_web_location(request.location, "http")),
      say(std::move(tell)),
      transfer(loop, settings.pace, file),
      pause(loop) {
  transfer.break_after(settings.break_download_after);
}

asio::awaitable<std::optional<std::string>> firmware_update::run() {
  auto const self = shared_from_this();
  co_await wait_for_date();
  std::optional<std::string> version;
  if (!is_cancelled) {
    version = co_await fetch_and_install();
  }
  std::error_code ignored;
  std::filesystem::remove(file, ignored);
  co_return version;
}

asio::awaitable<std::optional<std::string>> firmware_update::fetch_and_install() {
  co_await report("Downloading");
  auto const outcome = co_await fetch();
  if (is_cancelled) {
    co_return std::nullopt;
  }
  replaceable = false;
  std::string digits;
  if (outcome.is_done) {
    digits = co_await hash();
  }
  if (is_cancelled) {
    co_return std::nullopt;
  }
  if (digits.empty()) {
    spdlog::warn("{} firmware download failed: {}", options.identity,
                 outcome.is_done ? "cannot read what was downloaded" : outcome.reason);
    co_await report("DownloadFailed");
    co_return std::nullopt;
  }
  auto version = make_firmware_version(source->path, digits);
  spdlog::info("{} downloaded firmware {} ({} bytes), SHA-256 {}", options.identity, version, outcome.bytes,
               digits);
  co_await report("Downloaded");
  auto const is_installed = co_await install();
  if (!is_installed) {
    co_return std::nullopt;
  }
  spdlog::info("{} installed firmware {}", options.identity, version);
  co_return version;
}

asio::awaitable<void> firmware_update::wait_for_date() {
  while (!is_cancelled) {
    auto const now = std::chrono::floor<milliseconds>(std::chrono::system_clock::now());
    if (now >= request.retrieve_at) {
      co_return;
    }
    co_await wait(std::min(request.retrieve_at - now, longest_wait));
  }
}

asio::awaitable<void> firmware_update::wait(milliseconds time) {
  if (!is_cancelled) {
    boost::system::error_code ignored;
    pause.expires_after(time);
    co_await pause.async_wait(asio::redirect_error(asio::use_awaitable, ignored));
  }
}

asio::awaitable<download_outcome> firmware_update::fetch() {
  download_outcome outcome;
  outcome.may_retry = false;
  if (!source) {
    // Without the location itself, because it holds a token.
    outcome.reason = "the location cannot be used, expected http://host:port/path";
    co_return outcome;
  }
  std::error_code error;
  std::filesystem::create_directories(file.parent_path(), error);
  for (unsigned int tries_left = request.retries;; --tries_left) {
    outcome = co_await transfer.get(*source);
    if (outcome.is_done || !outcome.may_retry || tries_left == 0 || is_cancelled) {
      co_return outcome;
    }
    spdlog::info("{} tries to download its firmware again in {} s, from byte {}: {}", options.identity,
                 request.retry_interval.count(), outcome.bytes, outcome.reason);
    co_await wait(request.retry_interval);
  }
}

/// In hexadecimal; empty when the file cannot be read.
asio::awaitable<std::string> firmware_update::hash() {
  std::string digits;
  std::function<std::error_code()> job = [this, &digits] {
    digits = mura_common::toHexString(mura_common::computeFileHash(mura_common::Sha2::Type::sha256, file));
    return std::error_code();
  };
  co_await http::run_blocking(find_workers(executor), std::move(job));
  co_return digits;
}

asio::awaitable<void> firmware_update::report(char const* status) {
  std::string text(status);
  co_await say(std::move(text));
}

asio::awaitable<bool> firmware_update::install() {
  co_await report("Installing");
  co_await wait(options.pace.install_time);
  if (is_cancelled) {
    co_return false;
  }
  std::error_code error;
  if (!options.is_refusing_installation) {
    std::filesystem::rename(file, file.parent_path() / "installed", error);
  }
  if (options.is_refusing_installation || error) {
    spdlog::warn("{} firmware installation failed: {}", options.identity,
                 error ? error.message() : "refused, as told");
    co_await report("InstallationFailed");
    co_return false;
  }
  co_await report("Installed");
  co_return true;
}

void firmware_update::cancel() {
  is_cancelled = true;
  transfer.cancel();
  pause.cancel();
}

}  // namespace tavi::simulator
