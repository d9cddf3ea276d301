#pragma once

#include <string>

#include "tavi/stations/charging_station.h"

namespace tavi::site::ocpp {

/// Where the site tells what happens to its stations. Called on the site's event loop; must not block.
class station_events {
 public:
  virtual ~station_events() = default;

  /// A station became known, and is kept durably. @param station_id  its number
  virtual void on_created(unsigned int station_id) = 0;
  /// A station went on- or offline, or told another diagnostics status.
  virtual void on_status(tavi::stations::charging_station_status const& status) = 0;
  /// A connector told its state. @param connector_id  0 is the station as a whole
  virtual void on_connector_status(unsigned int station_id, unsigned int connector_id,
                                   tavi::stations::charging_station_connector_status const& status) = 0;
  /// A request to a station ended. @param request_id  as the caller of the request got it
  virtual void on_command_status(unsigned int station_id, unsigned int request_id,
                                 tavi::stations::cs_request_status status) = 0;
  /// A station told how its firmware update goes. @param status  FirmwareStatus of OCPP 1.6
  virtual void on_firmware_status(unsigned int station_id, std::string const& status) = 0;
};

}  // namespace tavi::site::ocpp
