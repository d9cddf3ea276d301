#pragma once

#include <string>

#include "tavi/stations/station_diagnostics_status.h"

namespace tavi::stations {

/// One charging station of the site.
struct charging_station {
  unsigned int id = 0;   ///< number of the station on this site, from 1, kept for ever
  std::string identity;  ///< its OCPP identity, the last part of the address that it connects to
  std::string vendor;    ///< chargePointVendor of its BootNotification; empty before the first
  std::string model;     ///< chargePointModel of its BootNotification; empty before the first
  station_diagnostics_status diagnostics_status = station_diagnostics_status::idle;  ///< as last notified
  bool connected = false;  ///< whether it is online now

  bool operator==(charging_station const&) const = default;
};

/// State of a station as published when it changes.
struct charging_station_status {
  unsigned int station_id = 0;  ///< the station
  bool connected = false;       ///< whether it is online now
  station_diagnostics_status diagnostics_status = station_diagnostics_status::idle;  ///< as last notified

  bool operator==(charging_station_status const&) const = default;
};

/// State of one connector of a station (OCPP 1.6, StatusNotification).
struct charging_station_connector_status {
  std::string status;      ///< ChargePointStatus, such as "Available"
  std::string error_code;  ///< ChargePointErrorCode, such as "NoError"

  bool operator==(charging_station_connector_status const&) const = default;
};

/// How a request that was sent to a station ended.
enum class cs_request_status : unsigned int {
  accepted = 0,   ///< the station answered and accepted
  rejected = 1,   ///< the station answered and refused, or answered with an error
  timed_out = 2,  ///< the station did not answer in time, or its connection ended before
};

}  // namespace tavi::stations
