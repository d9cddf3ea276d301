#pragma once

#include <tuple>

#include "mura_common/ipc_codec.h"
#include "stations_maintenance/diagnostic_report.h"
#include "stations_maintenance/diagnostic_report_filter.h"
#include "stations_maintenance/station_firmware_desc.h"
#include "stations_maintenance/station_firmware_info.h"
#include "stations_maintenance/stations_maintenance_configuration.h"

/// The form in which this service's records travel.
namespace mura_common {

template <>
struct record_fields<tavi::stations_maintenance::stations_maintenance_configuration> {
  using record = tavi::stations_maintenance::stations_maintenance_configuration;
  static constexpr auto list = std::make_tuple(
      record_field{"max_periodic_report_per_station", &record::max_periodic_report_per_station},
      record_field{"periodic_generation_enabled", &record::periodic_generation_enabled},
      record_field{"period_for_automatic_generation", &record::period_for_automatic_generation});
};

template <>
struct record_fields<tavi::stations_maintenance::station_firmware_desc> {
  using record = tavi::stations_maintenance::station_firmware_desc;
  static constexpr auto list =
      std::make_tuple(record_field{"version", &record::version}, record_field{"models", &record::models});
};

template <>
struct record_fields<tavi::stations_maintenance::station_firmware_info> {
  using record = tavi::stations_maintenance::station_firmware_info;
  static constexpr auto list =
      std::make_tuple(record_field{"id", &record::id}, record_field{"version", &record::version},
                      record_field{"path", &record::path}, record_field{"size", &record::size},
                      record_field{"hash", &record::hash}, record_field{"models", &record::models},
                      record_field{"status", &record::status});
};

template <>
struct record_fields<tavi::stations_maintenance::diagnostic_report_info> {
  using record = tavi::stations_maintenance::diagnostic_report_info;
  static constexpr auto list = std::make_tuple(
      record_field{"diagnostic_id", &record::diagnostic_id}, record_field{"station_id", &record::station_id},
      record_field{"diagnostic_name", &record::diagnostic_name},
      record_field{"timestamp_creation", &record::timestamp_creation}, record_field{"type", &record::type},
      record_field{"size", &record::size});
};

template <>
struct record_fields<tavi::stations_maintenance::diagnostic_report_filter> {
  using record = tavi::stations_maintenance::diagnostic_report_filter;
  static constexpr auto list = std::make_tuple(record_field{"diagnostic_ids", &record::diagnostic_ids});
};

}  // namespace mura_common
