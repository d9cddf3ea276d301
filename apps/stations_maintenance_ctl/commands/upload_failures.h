#pragma once

#include <cstdint>
#include <mutex>
#include <set>

#include "tavi/stations/sub_charging_stations_service.h"

namespace tavi::ctl {

/// The stations whose upload of diagnostics has failed, as the site tells while this object lives. Where
/// nobody publishes the stations' events there are none.
class upload_failures : private stations::i_sub_charging_stations_service_handler {
 public:
  /// Begins to listen.
  upload_failures();

  /// Leaves aside what a station has told so far: it was about an earlier upload.
  void forget(std::uint32_t station);
  /// Whether a station has said so, and nothing else since.
  [[nodiscard]] bool has(std::uint32_t station) const;

 private:
  void on_station_status(stations::charging_station_status const& status) override;
  void on_connector_status_changed(unsigned int const&, unsigned int const&,
                                   stations::charging_station_connector_status const&) override {}
  void on_command_status(unsigned int const&, unsigned int const&,
                         stations::cs_request_status const&) override {}
  void on_station_created(unsigned int const&) override {}
  void on_station_deleted(unsigned int const&) override {}

  mutable std::mutex guard;
  std::set<std::uint32_t> failed;
  stations::sub_charging_stations_service events;  ///< last, so that it ends first
};

}  // namespace tavi::ctl
