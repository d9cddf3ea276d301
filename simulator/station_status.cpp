#include "station_status.h"

#include <nlohmann/json.hpp>

#include "date_time.h"

namespace tavi::simulator {
namespace {

std::string to_indented_text(nlohmann::ordered_json const& object) {
  return object.dump(2, ' ', false, nlohmann::ordered_json::error_handler_t::replace);
}

}  // namespace

std::string describe_configuration(station_options const& options) {
  nlohmann::ordered_json object = nlohmann::ordered_json::object();
  object["identity"] = options.identity;
  object["url"] = options.url;
  object["vendor"] = options.vendor;
  object["model"] = options.model;
  object["serial"] = options.serial;
  object["firmware_version"] = options.firmware_version;
  return to_indented_text(object);
}

std::string describe_status(station_options const& options, station_status const& status) {
  nlohmann::ordered_json object = nlohmann::ordered_json::object();
  object["identity"] = options.identity;
  object["time"] = ocpp_wire::to_utc_iso8601(std::chrono::system_clock::now());
  object["connected"] = status.is_connected;
  object["heartbeat_interval_seconds"] = status.heartbeat_interval.count();
  object["last_upload"] = status.last_upload;
  object["connectors"] = nlohmann::ordered_json::array();
  for (int id = 0; id <= 1; ++id) {
    nlohmann::ordered_json connector = nlohmann::ordered_json::object();
    connector["id"] = id;
    connector["status"] = "Available";
    connector["error_code"] = "NoError";
    object["connectors"].push_back(connector);
  }
  return to_indented_text(object);
}

}  // namespace tavi::simulator
