#include "mura_common/ipc_typed.h"
#include "tavi/stations/sub_charging_stations_service.h"

namespace tavi::stations {

namespace {

using receiver = i_sub_charging_stations_service_handler;

constexpr char const* const service_name = mura_common::ipc_interface<receiver>::service;

}  // namespace

void i_sub_charging_stations_service_handler::on_firmware_status(unsigned int const& /*station_id*/,
                                                                 std::string const& /*status*/) {
}

// The events hold on to the receiver itself, so the base may stop after this class is gone.
sub_charging_stations_service::sub_charging_stations_service(std::string subscriber, receiver& target)
    : subscription(std::move(subscriber), service_name), handler(target) {
}

bool sub_charging_stations_service::subscribe_to_station_created() {
  return mura_common::bind_event<&receiver::on_station_created>(*this, handler);
}

bool sub_charging_stations_service::subscribe_to_station_deleted() {
  return mura_common::bind_event<&receiver::on_station_deleted>(*this, handler);
}

bool sub_charging_stations_service::subscribe_to_station_status() {
  return mura_common::bind_event<&receiver::on_station_status>(*this, handler);
}

bool sub_charging_stations_service::subscribe_to_connector_status_changed() {
  return mura_common::bind_event<&receiver::on_connector_status_changed>(*this, handler);
}

bool sub_charging_stations_service::subscribe_to_command_status() {
  return mura_common::bind_event<&receiver::on_command_status>(*this, handler);
}

bool sub_charging_stations_service::subscribe_to_firmware_status() {
  return mura_common::bind_event<&receiver::on_firmware_status>(*this, handler);
}

pub_charging_stations_service::pub_charging_stations_service() : publisher(service_name) {
}

bool pub_charging_stations_service::publish_station_status(charging_station_status const& status) {
  return mura_common::publish<&receiver::on_station_status>(*this, status);
}

bool pub_charging_stations_service::publish_connector_status_changed(
    unsigned int station_id, unsigned int connector_id, charging_station_connector_status const& status) {
  return mura_common::publish<&receiver::on_connector_status_changed>(*this, station_id, connector_id,
                                                                      status);
}

bool pub_charging_stations_service::publish_command_status(unsigned int station_id, unsigned int request_id,
                                                           cs_request_status status) {
  return mura_common::publish<&receiver::on_command_status>(*this, station_id, request_id, status);
}

bool pub_charging_stations_service::publish_station_created(unsigned int station_id) {
  return mura_common::publish<&receiver::on_station_created>(*this, station_id);
}

bool pub_charging_stations_service::publish_station_deleted(unsigned int station_id) {
  return mura_common::publish<&receiver::on_station_deleted>(*this, station_id);
}

bool pub_charging_stations_service::publish_firmware_status(unsigned int station_id,
                                                            std::string const& status) {
  return mura_common::publish<&receiver::on_firmware_status>(*this, station_id, status);
}

}  // namespace tavi::stations
