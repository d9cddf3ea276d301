#include "ocpp/station_requests.h"

#include <utility>

#include <spdlog/spdlog.h>

#include "date_time.h"
#include "ocpp/station_calls.h"

namespace tavi::site::ocpp {

using ocpp_wire::call_end;
using ocpp_wire::call_outcome;

namespace asio = boost::asio;
using nlohmann::json;
using tavi::stations::cs_request_status;

namespace {

request_answer judge_diagnostics(call_outcome const& outcome, unsigned int station_id) {
  if (outcome.end != call_end::answered) {
    return request_answer::no_answer;
  }
  auto const file = read_diagnostics_file_name(outcome.payload);
  if (!file.has_value()) {
    spdlog::warn("[station_requests] station {}: its answer to GetDiagnostics holds no valid fileName",
                 station_id);
    return request_answer::no_answer;
  }
  return file->empty() ? request_answer::nothing_to_transfer : request_answer::accepted;
}

}  // namespace

station_requests::station_requests(station_registry const& registry, station_events& events,
                                   firmware_source& firmware, update_options options, session_finder find)
    : stations(registry),
      listeners(events),
      source(firmware),
      update(options),
      find_connection(std::move(find)) {
}

asio::awaitable<asked_station> station_requests::ask_for_diagnostics(unsigned int station_id,
                                                                     std::string location) {
  asked_station asked;
  auto const session = find_session(station_id, asked.answer);
  if (!session) {
    co_return asked;
  }
  asked.request = ++last_request;
  json payload = json::object();
  payload["location"] = std::move(location);
  auto const outcome = co_await session->send_call("GetDiagnostics", std::move(payload));
  asked.answer = judge_diagnostics(outcome, station_id);
  announce(station_id, asked, outcome.end);
  co_return asked;
}

asio::awaitable<asked_station> station_requests::ask_for_update(unsigned int station_id,
                                                                std::optional<std::filesystem::path> file) {
  asked_station asked;
  auto const session = find_session(station_id, asked.answer);
  if (!session) {
    co_return asked;
  }
  if (!file.has_value()) {
    asked.answer = request_answer::nothing_to_transfer;
    co_return asked;
  }
  auto const offer = source.make_offer(station_id, *file);
  if (!offer.has_value()) {
    co_return asked;
  }
  asked.request = ++last_request;
  json payload = json::object();
  payload["location"] = offer->location;
  payload["retrieveDate"] = ocpp_wire::to_utc_iso8601(std::chrono::system_clock::now());
  payload["retries"] = update.retries;
  payload["retryInterval"] = update.retry_interval.count();
  auto const outcome = co_await session->send_call("UpdateFirmware", std::move(payload));
  if (outcome.end == call_end::answered) {
    asked.answer = request_answer::accepted;
  } else if (outcome.end == call_end::refused) {
    // A station that has merely not answered may fetch the file all the same.
    source.withdraw(offer->token);
  }
  announce(station_id, asked, outcome.end);
  co_return asked;
}

std::shared_ptr<station_session> station_requests::find_session(unsigned int station_id,
                                                                request_answer& objection) const {
  auto const station = stations.get(station_id);
  if (!station.has_value()) {
    objection = request_answer::unknown_station;
    return nullptr;
  }
  auto session = station->connected ? find_connection(station->identity) : nullptr;
  if (!session) {
    objection = request_answer::not_connected;
  }
  return session;
}

void station_requests::announce(unsigned int station_id, asked_station const& asked, call_end end) {
  auto status =
      asked.answer == request_answer::accepted ? cs_request_status::accepted : cs_request_status::rejected;
  if (end == call_end::timed_out || end == call_end::cut_off) {
    status = cs_request_status::timed_out;
  }
  listeners.on_command_status(station_id, asked.request, status);
}

}  // namespace tavi::site::ocpp
