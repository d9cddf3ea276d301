#include "station_session.h"

#include <utility>

#include <boost/asio/redirect_error.hpp>
#include <boost/asio/use_awaitable.hpp>
#include <nlohmann/json.hpp>
#include <spdlog/spdlog.h>

#include "boot_answer.h"
#include "date_time.h"
#include "spawn_task.h"

namespace tavi::simulator {

namespace asio = boost::asio;
using nlohmann::json;

namespace {

json describe_connector(int connector) {
  json payload = json::object();
  payload["connectorId"] = connector;
  payload["errorCode"] = "NoError";
  payload["status"] = "Available";
  payload["timestamp"] = ocpp_wire::to_utc_iso8601(std::chrono::system_clock::now());
  return payload;
}

}  // namespace

station_session::station_session(asio::any_io_executor loop, std::shared_ptr<station_options const> settings,
                                 std::shared_ptr<station_journal> log, session_handlers told)
    : options(std::move(settings)),
      journal(std::move(log)),
      handlers(std::move(told)),
      executor(std::move(loop)),
      connection(executor, options->pace),
      calls(executor, options->pace.call_time, [this](std::string frame) { send(std::move(frame)); }),
      alarm(executor) {
}

asio::awaitable<std::string> station_session::run(web_location server) {
  auto const self = shared_from_this();
  auto refusal = co_await connection.open(std::move(server));
  if (!refusal.empty()) {
    over = true;
    co_return refusal;
  }
  handlers.on_connected();
  spawn_task(executor, talk(self));
  std::function<void(std::string const&)> const reader = [this](std::string const& text) { on_text(text); };
  auto reason = co_await connection.run(reader);
  over = true;
  ready = false;
  calls.abandon();
  alarm.cancel();
  co_return reason;
}

asio::awaitable<ocpp_wire::call_outcome> station_session::call(std::string_view action, json payload) {
  auto const self = shared_from_this();
  auto answer = co_await calls.call(action, std::move(payload));
  co_return answer;
}

void station_session::send(std::string frame) {
  journal->record("sent", frame);
  connection.send(std::move(frame));
}

void station_session::close() {
  ready = false;
  connection.close();
}

asio::awaitable<void> station_session::talk(std::shared_ptr<station_session> self) {
  auto const interval = co_await self->boot();
  if (self->over) {
    co_return;
  }
  self->handlers.on_booted(interval);
  for (int connector = 0; connector <= 1; ++connector) {
    auto payload = describe_connector(connector);
    co_await self->call("StatusNotification", std::move(payload));
  }
  if (self->over) {
    co_return;
  }
  self->ready = true;
  self->handlers.on_ready();
  while (!self->over) {
    co_await self->wait(interval);
    if (!self->over) {
      auto payload = json::object();
      co_await self->call("Heartbeat", std::move(payload));
    }
  }
}

asio::awaitable<std::chrono::seconds> station_session::boot() {
  while (!over) {
    auto payload = describe_station();
    auto const answer = co_await call("BootNotification", std::move(payload));
    auto const decision = read_boot_answer(answer.payload, options->pace.interval);
    if (decision.is_accepted) {
      co_return decision.interval;
    }
    if (!over) {
      spdlog::info("{} is not accepted yet, asks again in {} s", options->identity,
                   decision.interval.count());
      co_await wait(decision.interval);
    }
  }
  co_return std::chrono::seconds(0);
}

asio::awaitable<void> station_session::wait(std::chrono::milliseconds time) {
  boost::system::error_code ignored;
  alarm.expires_after(time);
  co_await alarm.async_wait(asio::redirect_error(asio::use_awaitable, ignored));
}

json station_session::describe_station() const {
  json payload = json::object();
  payload["chargePointVendor"] = options->vendor;
  payload["chargePointModel"] = options->model;
  if (!options->serial.empty()) {
    payload["chargePointSerialNumber"] = options->serial;
  }
  if (!options->firmware_version.empty()) {
    payload["firmwareVersion"] = options->firmware_version;
  }
  return payload;
}

void station_session::on_text(std::string const& text) {
  journal->record("received", text);
  auto message = ocpp_wire::decode(text);
  if (auto const* call = std::get_if<ocpp_wire::call>(&message)) {
    handlers.on_call(*call);
  } else if (auto* result = std::get_if<ocpp_wire::call_result>(&message)) {
    on_answer(result->id, {ocpp_wire::call_end::answered, std::move(result->payload)});
  } else if (auto const* error = std::get_if<ocpp_wire::call_error>(&message)) {
    spdlog::warn("[station_session] {}: a call was refused with {} {}", options->identity,
                 ocpp_wire::printable(error->code), ocpp_wire::printable(error->description, 255));
    on_answer(error->id, {ocpp_wire::call_end::refused, {}});
  } else if (auto const* refused = std::get_if<ocpp_wire::refused_call>(&message)) {
    spdlog::warn("[station_session] {}: a broken call was refused: {}", options->identity,
                 refused->why.description);
    send(encode(*refused));
  } else {
    spdlog::warn("[station_session] {}: a broken message was dropped: {}", options->identity,
                 std::get<ocpp_wire::unidentified>(message).why);
  }
}

void station_session::on_answer(std::string const& id, ocpp_wire::call_outcome outcome) {
  if (!calls.on_answer(id, std::move(outcome))) {
    spdlog::warn("[station_session] {}: an answer to {} was dropped, no such call is in flight",
                 options->identity, ocpp_wire::printable(id));
  }
}

}  // namespace tavi::simulator
