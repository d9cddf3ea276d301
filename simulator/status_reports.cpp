#include "status_reports.h"

#include <utility>

#include <boost/asio/redirect_error.hpp>
#include <boost/asio/use_awaitable.hpp>
#include <nlohmann/json.hpp>

namespace tavi::simulator {

namespace asio = boost::asio;
using nlohmann::json;

namespace {

json make_payload(std::string const& status) {
  json payload = json::object();
  payload["status"] = status;
  return payload;
}

}  // namespace

status_reports::status_reports(asio::any_io_executor loop)
    : ready_signal(loop, asio::steady_timer::time_point::max()) {
}

void status_reports::stop() {
  is_stopping = true;
  ready_signal.cancel();
}

asio::awaitable<void> status_reports::mention(std::string_view action, std::string status) {
  auto const current = session;
  if (current && current->is_ready()) {
    auto payload = make_payload(status);
    co_await current->call(action, std::move(payload));
  }
}

asio::awaitable<void> status_reports::tell(std::string_view action, std::string status) {
  auto end = ocpp_wire::call_end::cut_off;
  while (end == ocpp_wire::call_end::cut_off && !is_stopping) {
    co_await wait_until_ready();
    auto const current = session;
    if (is_stopping || !current) {
      continue;
    }
    auto payload = make_payload(status);
    auto const outcome = co_await current->call(action, std::move(payload));
    end = outcome.end;
  }
}

asio::awaitable<void> status_reports::wait_until_ready() {
  while (!is_stopping && !(session && session->is_ready())) {
    boost::system::error_code ignored;
    co_await ready_signal.async_wait(asio::redirect_error(asio::use_awaitable, ignored));
  }
}

}  // namespace tavi::simulator
