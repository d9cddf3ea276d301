#include "simulation/station_status.h"

#include <nlohmann/json.hpp>

#include "utc_time.h"

namespace tavi::site::simulation {
namespace {

using json = nlohmann::ordered_json;

std::string to_text(json const& object) {
  return object.dump(2, ' ', false, json::error_handler_t::replace);
}

}  // namespace

std::string describe_configuration(station_options const& options) {
  json object = json::object();
  object["identity"] = options.identity;
  object["url"] = options.url;
  object["vendor"] = options.vendor;
  object["model"] = options.model;
  object["serial"] = options.serial;
  object["firmware_version"] = options.firmware_version;
  return to_text(object);
}

std::string describe_status(station_options const& options, station_status const& status) {
  json object = json::object();
  object["identity"] = options.identity;
  object["time"] = to_utc_iso8601(std::chrono::system_clock::now());
  object["connected"] = status.is_connected;
  object["heartbeat_interval_seconds"] = status.heartbeat_interval.count();
  object["last_upload"] = status.last_upload;
  object["connectors"] = json::array();
  for (int id = 0; id <= 1; ++id) {
    json connector = json::object();
    connector["id"] = id;
    connector["status"] = "Available";
    connector["error_code"] = "NoError";
    object["connectors"].push_back(connector);
  }
  return to_text(object);
}

}  // namespace tavi::site::simulation
