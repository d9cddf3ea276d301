#include "handed_in_events.h"

#include <exception>
#include <mutex>

#include <spdlog/spdlog.h>

#include "tavi/file_name.h"

namespace tavi::stations_maintenance {

using namespace tavi::stations;

handed_in_events::handed_in_events(std::string const& service,
                                   tavi::webserver_token::i_sub_webserver_token_service_handler& uploads,
                                   i_sub_charging_stations_service_handler& stations)
    : lane(mura_common::delivery_lane_of(service)), upload_handler(uploads), station_handler(stations) {
}

template <typename Handling>
void handed_in_events::in_turn(char const* event, Handling handling) {
  std::lock_guard const turn(*lane);
  try {
    handling();
  } catch (std::exception const& error) {
    spdlog::error("[station maintenance service] dropped event {} of the host: {}", event, error.what());
  }
}

void handed_in_events::on_file_uploaded(std::string const& token, std::string const& file_name,
                                        std::string const& file_path) {
  in_turn("file_uploaded",
          [&] { upload_handler.on_file_uploaded(token, tavi::harmless_file_name(file_name), file_path); });
}

void handed_in_events::on_station_created(unsigned int const& station_id) {
  in_turn("station_created", [&] { station_handler.on_station_created(station_id); });
}

void handed_in_events::on_station_deleted(unsigned int const& station_id) {
  in_turn("station_deleted", [&] { station_handler.on_station_deleted(station_id); });
}

// The service has no use for the others, so they wait for nothing.

void handed_in_events::on_station_status(charging_station_status const& /*status*/) {
}

void handed_in_events::on_connector_status_changed(unsigned int const& /*station_id*/,
                                                   unsigned int const& /*connector_id*/,
                                                   charging_station_connector_status const& /*status*/) {
}

void handed_in_events::on_command_status(unsigned int const& /*station_id*/,
                                         unsigned int const& /*request_id*/,
                                         cs_request_status const& /*status*/) {
}

}  // namespace tavi::stations_maintenance
