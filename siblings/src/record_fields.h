#pragma once

#include <tuple>

#include "mura_common/ipc_codec.h"
#include "tavi/network/i_req_resp_network_service.h"
#include "tavi/stations/charging_station.h"

/// The form in which the siblings' records travel.
namespace mura_common {

template <>
struct record_fields<tavi::network::network_config> {
  using record = tavi::network::network_config;
  static constexpr auto list = std::make_tuple(record_field{"address", &record::address});
};

template <>
struct record_fields<tavi::stations::charging_station> {
  using record = tavi::stations::charging_station;
  static constexpr auto list =
      std::make_tuple(record_field{"id", &record::id}, record_field{"identity", &record::identity},
                      record_field{"vendor", &record::vendor}, record_field{"model", &record::model},
                      record_field{"diagnostics_status", &record::diagnostics_status},
                      record_field{"connected", &record::connected});
};

template <>
struct record_fields<tavi::stations::charging_station_status> {
  using record = tavi::stations::charging_station_status;
  static constexpr auto list = std::make_tuple(
      record_field{"station_id", &record::station_id}, record_field{"connected", &record::connected},
      record_field{"diagnostics_status", &record::diagnostics_status});
};

template <>
struct record_fields<tavi::stations::charging_station_connector_status> {
  using record = tavi::stations::charging_station_connector_status;
  static constexpr auto list = std::make_tuple(record_field{"status", &record::status},
                                               record_field{"error_code", &record::error_code});
};

}  // namespace mura_common
