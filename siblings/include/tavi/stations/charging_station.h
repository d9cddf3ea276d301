#pragma once

#include <string>
#include <tuple>

#include "mura_common/ipc_interface.h"
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

/// How it travels.
template <>
struct mura_common::record_fields<tavi::stations::charging_station> {
  using record = tavi::stations::charging_station;
  static constexpr std::tuple list{record_field{"id", &record::id},
                                   record_field{"identity", &record::identity},
                                   record_field{"vendor", &record::vendor},
                                   record_field{"model", &record::model},
                                   record_field{"diagnostics_status", &record::diagnostics_status},
                                   record_field{"connected", &record::connected}};
};

/// How it travels.
template <>
struct mura_common::record_fields<tavi::stations::charging_station_status> {
  using record = tavi::stations::charging_station_status;
  static constexpr std::tuple list{record_field{"station_id", &record::station_id},
                                   record_field{"connected", &record::connected},
                                   record_field{"diagnostics_status", &record::diagnostics_status}};
};

/// How it travels.
template <>
struct mura_common::record_fields<tavi::stations::charging_station_connector_status> {
  using record = tavi::stations::charging_station_connector_status;
  static constexpr std::tuple list{record_field{"status", &record::status},
                                   record_field{"error_code", &record::error_code}};
};
