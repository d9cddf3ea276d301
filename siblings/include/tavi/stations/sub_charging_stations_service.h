#pragma once

#include <string>
#include <tuple>

#include "mura_common/ipc.h"
#include "mura_common/ipc_interface.h"
#include "tavi/export.h"
#include "tavi/stations/charging_station.h"

namespace tavi::stations {

/// Receives the events of the charging-stations service.
class TAVI_SIBLINGS_EXPORT i_sub_charging_stations_service_handler {
 public:
  virtual ~i_sub_charging_stations_service_handler() = default;

  /// A station went on- or offline, or told another diagnostics status.
  virtual void on_station_status(charging_station_status const& status) = 0;
  /// A connector of a station told its state. @param connector_id  0 is the station as a whole
  virtual void on_connector_status_changed(unsigned int const& station_id, unsigned int const& connector_id,
                                           charging_station_connector_status const& status) = 0;
  /// A request to a station ended. @param request_id  as the request's caller got it
  virtual void on_command_status(unsigned int const& station_id, unsigned int const& request_id,
                                 cs_request_status const& status) = 0;
  /// A station became known to the site.
  virtual void on_station_created(unsigned int const& station_id) = 0;
  /// A station was taken out of the site.
  virtual void on_station_deleted(unsigned int const& station_id) = 0;
  /// A station told how its firmware update goes; does nothing unless overridden.
  /// @param status  FirmwareStatus of OCPP 1.6, such as "Downloading" or "Installed"
  virtual void on_firmware_status(unsigned int const& station_id, std::string const& status);
};

/// Subscription to the events of the charging-stations service.
///
/// Receives on a thread of its own, which begins with the first subscription; events are handed over one at a
/// time with all other requests and events of the subscriber.
class TAVI_SIBLINGS_EXPORT sub_charging_stations_service : public mura_common::subscription {
 public:
  /// Only stores its arguments.
  /// @param subscriber  name of the subscribing service, whose delivery lane the events take
  /// @param handler     receives the events; must outlive the subscription
  sub_charging_stations_service(std::string subscriber, i_sub_charging_stations_service_handler& handler);

  /// Begins to receive one kind of event. @return false, with a line in the log, when it cannot
  [[nodiscard]] bool subscribe_to_station_created();
  /// As `subscribe_to_station_created`.
  [[nodiscard]] bool subscribe_to_station_deleted();
  /// As `subscribe_to_station_created`.
  [[nodiscard]] bool subscribe_to_station_status();
  /// As `subscribe_to_station_created`.
  [[nodiscard]] bool subscribe_to_connector_status_changed();
  /// As `subscribe_to_station_created`.
  [[nodiscard]] bool subscribe_to_command_status();
  /// As `subscribe_to_station_created`.
  [[nodiscard]] bool subscribe_to_firmware_status();

 private:
  i_sub_charging_stations_service_handler& handler;
};

/// Publisher of the events, held by the charging-stations service itself. May be called from any thread.
///
/// Each operation returns whether the event left; subscribers may still miss it.
class TAVI_SIBLINGS_EXPORT pub_charging_stations_service : public mura_common::publisher {
 public:
  /// Opens nothing: `start` does.
  pub_charging_stations_service();

  /// See `i_sub_charging_stations_service_handler::on_station_status`.
  bool publish_station_status(charging_station_status const& status);
  /// See `i_sub_charging_stations_service_handler::on_connector_status_changed`.
  bool publish_connector_status_changed(unsigned int station_id, unsigned int connector_id,
                                        charging_station_connector_status const& status);
  /// See `i_sub_charging_stations_service_handler::on_command_status`.
  bool publish_command_status(unsigned int station_id, unsigned int request_id, cs_request_status status);
  /// See `i_sub_charging_stations_service_handler::on_station_created`.
  bool publish_station_created(unsigned int station_id);
  /// See `i_sub_charging_stations_service_handler::on_station_deleted`.
  bool publish_station_deleted(unsigned int station_id);
  /// See `i_sub_charging_stations_service_handler::on_firmware_status`.
  bool publish_firmware_status(unsigned int station_id, std::string const& status);
};

}  // namespace tavi::stations

/// The names by which the events travel, for both sides.
template <>
struct mura_common::ipc_interface<tavi::stations::i_sub_charging_stations_service_handler> {
  using handler = tavi::stations::i_sub_charging_stations_service_handler;
  static constexpr char const* service = "charging_stations_service";
  static constexpr std::tuple operations{
      ipc_operation<&handler::on_station_status>{"station_status"},
      ipc_operation<&handler::on_connector_status_changed>{"connector_status_changed"},
      ipc_operation<&handler::on_command_status>{"command_status"},
      ipc_operation<&handler::on_station_created>{"station_created"},
      ipc_operation<&handler::on_station_deleted>{"station_deleted"},
      ipc_operation<&handler::on_firmware_status>{"firmware_status"}};
};
