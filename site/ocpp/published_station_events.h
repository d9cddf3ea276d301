#pragma once

#include <string>

#include "ocpp/station_events.h"
#include "tavi/stations/sub_charging_stations_service.h"

namespace tavi::site::ocpp {

/// Sends every event to the subscribers of the charging-stations service.
class published_station_events : public station_events {
 public:
  /// Takes the publisher's endpoint. @return false, with one line in the log, when it cannot be had
  [[nodiscard]] bool start() { return publisher.start(); }

  void on_created(unsigned int station_id) override { publisher.publish_station_created(station_id); }
  void on_status(tavi::stations::charging_station_status const& status) override {
    publisher.publish_station_status(status);
  }
  void on_connector_status(unsigned int station_id, unsigned int connector_id,
                           tavi::stations::charging_station_connector_status const& status) override {
    publisher.publish_connector_status_changed(station_id, connector_id, status);
  }
  void on_command_status(unsigned int station_id, unsigned int request_id,
                         tavi::stations::cs_request_status status) override {
    publisher.publish_command_status(station_id, request_id, status);
  }
  void on_firmware_status(unsigned int station_id, std::string const& status) override {
    publisher.publish_firmware_status(station_id, status);
  }

 private:
  tavi::stations::pub_charging_stations_service publisher;
};

}  // namespace tavi::site::ocpp
