#pragma once

#include "tavi/stations/sub_charging_stations_service.h"

namespace tavi::stations_maintenance {

class diagnostic_manager;

/// Keeps the report directories in step with the site's stations: made with a station, removed with it.
class sub_charging_stations_service_handler : public tavi::stations::i_sub_charging_stations_service_handler {
 public:
  /// Only stores the reference. @param manager  must outlive the handler's use, not its construction
  explicit sub_charging_stations_service_handler(diagnostic_manager& manager);

  /// Does nothing: only creation and deletion of stations matter here.
  void on_station_status(tavi::stations::charging_station_status const& status) override;
  /// Does nothing.
  void on_connector_status_changed(unsigned int const& station_id, unsigned int const& connector_id,
                                   tavi::stations::charging_station_connector_status const& status) override;
  /// Does nothing.
  void on_command_status(unsigned int const& station_id, unsigned int const& request_id,
                         tavi::stations::cs_request_status const& status) override;
  /// Makes the station's directories.
  void on_station_created(unsigned int const& station_id) override;
  /// Deletes the station's reports, rows and files.
  void on_station_deleted(unsigned int const& station_id) override;

 private:
  diagnostic_manager& diagnostics;
};

}  // namespace tavi::stations_maintenance
