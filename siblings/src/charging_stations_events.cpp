#include "mura_common/ipc_typed.h"
#include "record_fields.h"
#include "service_names.h"
#include "tavi/stations/sub_charging_stations_service.h"

namespace tavi::stations {

namespace {

using receiver = i_sub_charging_stations_service_handler;

constexpr char const* const station_status = "station_status";
constexpr char const* const connector_status_changed = "connector_status_changed";
constexpr char const* const command_status = "command_status";
constexpr char const* const station_created = "station_created";
constexpr char const* const station_deleted = "station_deleted";
constexpr char const* const firmware_status = "firmware_status";

}  // namespace

void i_sub_charging_stations_service_handler::on_firmware_status(unsigned int const& /*station_id*/,
                                                                 std::string const& /*status*/) {
}

// The events hold on to the receiver itself, so the base may stop after this class is gone.
sub_charging_stations_service::sub_charging_stations_service(std::string subscriber, receiver& target)
    : subscription(std::move(subscriber), charging_stations_service_name), handler(target) {
}

bool sub_charging_stations_service::subscribe_to_station_created() {
  return mura_common::bind_event(*this, station_created, handler, &receiver::on_station_created);
}

bool sub_charging_stations_service::subscribe_to_station_deleted() {
  return mura_common::bind_event(*this, station_deleted, handler, &receiver::on_station_deleted);
}

bool sub_charging_stations_service::subscribe_to_station_status() {
  return mura_common::bind_event(*this, station_status, handler, &receiver::on_station_status);
}

bool sub_charging_stations_service::subscribe_to_connector_status_changed() {
  return mura_common::bind_event(*this, connector_status_changed, handler,
                                 &receiver::on_connector_status_changed);
}

bool sub_charging_stations_service::subscribe_to_command_status() {
  return mura_common::bind_event(*this, command_status, handler, &receiver::on_command_status);
}

bool sub_charging_stations_service::subscribe_to_firmware_status() {
  return mura_common::bind_event(*this, firmware_status, handler, &receiver::on_firmware_status);
}

pub_charging_stations_service::pub_charging_stations_service() : publisher(charging_stations_service_name) {
}

bool pub_charging_stations_service::publish_station_status(charging_station_status const& status) {
  return mura_common::publish(*this, station_status, &receiver::on_station_status, status);
}

bool pub_charging_stations_service::publish_connector_status_changed(
    unsigned int station_id, unsigned int connector_id, charging_station_connector_status const& status) {
  return mura_common::publish(*this, connector_status_changed, &receiver::on_connector_status_changed,
                              station_id, connector_id, status);
}

bool pub_charging_stations_service::publish_command_status(unsigned int station_id, unsigned int request_id,
                                                           cs_request_status status) {
  return mura_common::publish(*this, command_status, &receiver::on_command_status, station_id, request_id,
                              status);
}

bool pub_charging_stations_service::publish_station_created(unsigned int station_id) {
  return mura_common::publish(*this, station_created, &receiver::on_station_created, station_id);
}

bool pub_charging_stations_service::publish_station_deleted(unsigned int station_id) {
  return mura_common::publish(*this, station_deleted, &receiver::on_station_deleted, station_id);
}

bool pub_charging_stations_service::publish_firmware_status(unsigned int station_id,
                                                            std::string const& status) {
  return mura_common::publish(*this, firmware_status, &receiver::on_firmware_status, station_id, status);
}

}  // namespace tavi::stations
