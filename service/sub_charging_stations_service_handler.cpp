#include "sub_charging_stations_service_handler.h"

#include "diagnostic_manager.h"

namespace tavi::stations_maintenance {

sub_charging_stations_service_handler::sub_charging_stations_service_handler(diagnostic_manager& manager)
    : diagnostics(manager) {
}

void sub_charging_stations_service_handler::on_station_status(
    tavi::stations::charging_station_status const& /*status*/) {
}

void sub_charging_stations_service_handler::on_connector_status_changed(
    unsigned int const& /*station_id*/, unsigned int const& /*connector_id*/,
    tavi::stations::charging_station_connector_status const& /*status*/) {
}

void sub_charging_stations_service_handler::on_command_status(
    unsigned int const& /*station_id*/, unsigned int const& /*request_id*/,
    tavi::stations::cs_request_status const& /*status*/) {
}

void sub_charging_stations_service_handler::on_station_created(unsigned int const& station_id) {
  diagnostics.create_diagnostic_directory_for_station(station_id);
}

void sub_charging_stations_service_handler::on_station_deleted(unsigned int const& station_id) {
  diagnostics.remove_station(station_id);
}

}  // namespace tavi::stations_maintenance
