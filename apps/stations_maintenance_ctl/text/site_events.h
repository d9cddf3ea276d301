#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "tavi/stations/sub_charging_stations_service.h"
#include "tavi/webserver_token/sub_webserver_token_service.h"
#include "text/record_json.h"

namespace tavi::ctl {

/// The names of all events, a blank between.
inline constexpr char const* event_names =
    "station_status connector_status_changed command_status firmware_status station_created station_deleted "
    "file_uploaded functional_log";

/// An event as it is shown.
struct shown_event {
  std::string text;  ///< one line for people, harmless to a terminal, without time and line end
  json document;     ///< "event" with its name, then its fields
  /// That it is about; the text begins with "station" and this number then.
  std::optional<unsigned int> station = {};
};

/// The published events in the form in which they are shown. Upload tokens are cut short: they are secrets.
[[nodiscard]] shown_event event_of(stations::charging_station_status const& status);
/// See above.
[[nodiscard]] shown_event event_of(unsigned int station_id, unsigned int connector_id,
                                   stations::charging_station_connector_status const& status);
/// See above.
[[nodiscard]] shown_event event_of(unsigned int station_id, unsigned int request_id,
                                   stations::cs_request_status status);
/// See above. @param status  FirmwareStatus of OCPP 1.6, as the station told it
[[nodiscard]] shown_event event_of(unsigned int station_id, std::string const& status);
/// See above. @param name  "station_created" or "station_deleted"
[[nodiscard]] shown_event event_of(std::string const& name, unsigned int station_id);
/// See above.
[[nodiscard]] shown_event event_of(std::string const& token, std::string const& file_name,
                                   std::string const& file_path);

/// An entry of the functional log.
[[nodiscard]] shown_event event_of_log(unsigned int category, unsigned int subtype, std::string const& text);

/// Adds the identity of the station that an event is about, for people behind its number. @param identity  as
/// the station told it; nothing is added when it is empty
void add_identity(shown_event& event, std::string const& identity);

/// The line that is written for an event that came at a moment: JSON, or time, a blank and the text.
[[nodiscard]] std::string line_of(shown_event const& event, std::int64_t seconds_since_epoch, bool is_json);

}  // namespace tavi::ctl
