#include "text/site_events.h"

#include <fmt/format.h>

#include "text/plain_text.h"
#include "text/quantity_text.h"
#include "text/record_names.h"

namespace tavi::ctl {

namespace {

constexpr std::size_t shown_token_bytes = 6;

std::string shorten(std::string const& token) {
  return token.substr(0, shown_token_bytes) + "...";
}

}  // namespace

shown_event event_of(stations::charging_station_status const& status) {
  return {fmt::format("station {} is {}, diagnostics {}", status.station_id,
                      status.connected ? "connected" : "not connected", name_of(status.diagnostics_status)),
          {{"event", "station_status"},
           {"station_id", status.station_id},
           {"connected", status.connected},
           {"diagnostics_status", name_of(status.diagnostics_status)}},
          status.station_id};
}

shown_event event_of(unsigned int station_id, unsigned int connector_id,
                     stations::charging_station_connector_status const& status) {
  return {fmt::format("station {} connector {} is {}, error code {}", station_id, connector_id,
                      escape_text(status.status), escape_text(status.error_code)),
          {{"event", "connector_status_changed"},
           {"station_id", station_id},
           {"connector_id", connector_id},
           {"status", status.status},
           {"error_code", status.error_code}},
          station_id};
}

shown_event event_of(unsigned int station_id, unsigned int request_id, stations::cs_request_status status) {
  return {fmt::format("station {} request {} {}", station_id, request_id, name_of(status)),
          {{"event", "command_status"},
           {"station_id", station_id},
           {"request_id", request_id},
           {"status", name_of(status)}},
          station_id};
}

shown_event event_of(unsigned int station_id, std::string const& status) {
  return {fmt::format("station {} firmware update: {}", station_id, escape_text(status)),
          {{"event", "firmware_status"}, {"station_id", station_id}, {"status", status}},
          station_id};
}

shown_event event_of(std::string const& name, unsigned int station_id) {
  return {fmt::format("station {} {}", station_id, name == "station_created" ? "created" : "deleted"),
          {{"event", name}, {"station_id", station_id}},
          station_id};
}

shown_event event_of(std::string const& token, std::string const& file_name, std::string const& file_path) {
  return {fmt::format("file \"{}\" uploaded with token {}, stored as {}", escape_text(file_name),
                      escape_text(shorten(token)), escape_text(file_path)),
          {{"event", "file_uploaded"},
           {"token", shorten(token)},
           {"file_name", file_name},
           {"file_path", file_path}}};
}

shown_event event_of_log(unsigned int category, unsigned int subtype, std::string const& text) {
  return {fmt::format("log {}/{}: {}", category, subtype, escape_text(text)),
          {{"event", "functional_log"}, {"category", category}, {"subtype", subtype}, {"text", text}}};
}

void add_identity(shown_event& event, std::string const& identity) {
  if (event.station && !identity.empty()) {
    event.text.insert(fmt::format("station {}", *event.station).size(), " (" + escape_text(identity) + ")");
    event.document["identity"] = identity;
  }
}

std::string line_of(shown_event const& event, std::int64_t seconds_since_epoch, bool is_json) {
  auto const time = format_utc(seconds_since_epoch);
  if (!is_json) {
    return time + ' ' + event.text + '\n';
  }
  json document = {{"time", time}};
  document.update(event.document);
  return json_text(document, true);
}

}  // namespace tavi::ctl
