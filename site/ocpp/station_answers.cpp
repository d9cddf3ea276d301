#include "ocpp/station_answers.h"

#include <unordered_map>
#include <utility>

#include <spdlog/spdlog.h>

#include "date_time.h"
#include "ocpp/station_calls.h"

namespace tavi::site::ocpp {

using ocpp_wire::call;
using ocpp_wire::call_result;
using ocpp_wire::error_code;
using ocpp_wire::printable;
using ocpp_wire::refusal;
using ocpp_wire::refused_call;

using nlohmann::json;
using tavi::stations::station_diagnostics_status;

station_answers::station_answers(station_registry& known, station_events& listeners,
                                 std::chrono::seconds interval, clock time)
    : registry(known), events(listeners), heartbeat(interval), now(std::move(time)) {
}

std::string station_answers::answer(unsigned int station_id, call const& request) {
  auto const refuse = [&](refusal const& why) {
    spdlog::warn("[station_answers] station {}: {} is answered with {}: {}", station_id,
                 printable(request.action), name_of(why.code), why.description);
    return encode(refused_call{request.id, why});
  };
  if (auto const why = check_station_call(request.action, request.payload)) {
    return refuse(*why);
  }
  auto outcome = (this->*handler_of(request.action))(station_id, request.payload);
  if (auto const* const why = std::get_if<refusal>(&outcome)) {
    return refuse(*why);
  }
  return encode(call_result{request.id, std::move(std::get<json>(outcome))});
}

station_answers::handler station_answers::handler_of(std::string const& action) {
  static std::unordered_map<std::string, handler> const handlers = {
      {"BootNotification", &station_answers::on_boot_notification},
      {"Heartbeat", &station_answers::on_heartbeat},
      {"StatusNotification", &station_answers::on_status_notification},
      {"Authorize", &station_answers::on_authorize},
      {"StartTransaction", &station_answers::on_start_transaction},
      {"StopTransaction", &station_answers::on_stop_transaction},
      {"DataTransfer", &station_answers::on_data_transfer},
      {"DiagnosticsStatusNotification", &station_answers::on_diagnostics_status},
      {"FirmwareStatusNotification", &station_answers::on_firmware_status}};
  auto const found = handlers.find(action);
  return found == handlers.end() ? &station_answers::on_other : found->second;
}

station_answers::result station_answers::on_boot_notification(unsigned int station_id, json const& payload) {
  auto const vendor = payload.at("chargePointVendor").get<std::string>();
  auto const model = payload.at("chargePointModel").get<std::string>();
  registry.set_model(station_id, vendor, model);
  auto const station = registry.get(station_id);
  spdlog::info("[station_answers] station {} ({}) booted as {} {}", station_id,
               station.has_value() ? station->identity : std::string(), printable(vendor), printable(model));
  // What was being uploaded when the station restarted will never be finished.
  if (station.has_value() && station->diagnostics_status == station_diagnostics_status::uploading) {
    note_diagnostics_status(station_id, station_diagnostics_status::idle);
  }
  return json{{"status", "Accepted"},
              {"currentTime", ocpp_wire::to_utc_iso8601(now())},
              {"interval", heartbeat.count()}};
}

station_answers::result station_answers::on_heartbeat(unsigned int, json const&) {
  return json{{"currentTime", ocpp_wire::to_utc_iso8601(now())}};
}

station_answers::result station_answers::on_status_notification(unsigned int station_id,
                                                                json const& payload) {
  events.on_connector_status(
      station_id, payload.at("connectorId").get<unsigned int>(),
      {payload.at("status").get<std::string>(), payload.at("errorCode").get<std::string>()});
  return json::object();
}

station_answers::result station_answers::on_authorize(unsigned int, json const&) {
  return json{{"idTagInfo", {{"status", "Accepted"}}}};
}

station_answers::result station_answers::on_start_transaction(unsigned int, json const&) {
  auto const id = registry.make_transaction_id();
  if (!id.has_value()) {
    return refusal{error_code::internal_error, "no transaction number can be given at present"};
  }
  return json{{"transactionId", *id}, {"idTagInfo", {{"status", "Accepted"}}}};
}

station_answers::result station_answers::on_stop_transaction(unsigned int, json const& payload) {
  if (payload.contains("idTag") && !payload.at("idTag").is_null()) {
    return json{{"idTagInfo", {{"status", "Accepted"}}}};
  }
  return json::object();
}

station_answers::result station_answers::on_data_transfer(unsigned int, json const&) {
  return json{{"status", "UnknownVendorId"}};
}

station_answers::result station_answers::on_diagnostics_status(unsigned int station_id, json const& payload) {
  note_diagnostics_status(station_id, to_diagnostics_status(payload.at("status").get<std::string>()));
  return json::object();
}

station_answers::result station_answers::on_firmware_status(unsigned int station_id, json const& payload) {
  auto const status = payload.at("status").get<std::string>();
  spdlog::info("[station_answers] station {} tells firmware status {}", station_id, status);
  events.on_firmware_status(station_id, status);
  return json::object();
}

station_answers::result station_answers::on_other(unsigned int, json const&) {
  return json::object();
}

void station_answers::note_diagnostics_status(unsigned int station_id, station_diagnostics_status status) {
  if (registry.set_diagnostics_status(station_id, status)) {
    auto const station = registry.get(station_id);
    events.on_status({station_id, station.has_value() && station->connected, status});
  }
}

}  // namespace tavi::site::ocpp
