#pragma once

#include <memory>

#include "mura_common/service.h"
#include "stations_maintenance/export.h"

namespace tavi::logger {
class i_logger;
}
namespace tavi::ocpp1_6 {
class i_req_resp_ocpp_1_6_service;
}
namespace tavi::webserver_token {
class i_req_resp_webserver_token_service;
}
namespace tavi::network {
class i_req_resp_network_service;
}

namespace tavi::stations_maintenance {

/// Keeps the diagnostic reports of a site's charging stations.
///
/// A host constructs it with the clients of four sibling services, then drives it through the framework:
/// `init` (clients connected, events subscribed to, table ready, configuration read), `start` (periodic
/// generation armed), `stop`, destruction. A step that fails makes its call return false at once, with
/// nothing undone; the host then destroys the service. It is called from one thread; requests, events and the
/// timer have threads of their own.
///
/// Configuration, all keys required, in `stations_maintenance_service.toml` of the configuration directory:
/// `diagnostic_report.max_periodic_report_per_station`, `.max_manual_report_per_station` (reports, 0 forbids
/// the generation), `.period_for_automatic_generation` (seconds, 0 switches it off),
/// `.max_total_directory_size` (bytes), `.diagnostic_report_storage_directory`, `.zip_command`,
/// `.zsh_command`; `firmware_storage.max_firmware_stored`, `.max_firmware_by_station`, `.storage_path`,
/// `.upload_timeout` (seconds).
class STATIONS_MAINTENANCE_EXPORT stations_maintenance_service : public mura_common::service::service {
 public:
  /// Only builds the members: touches no file, database or service.
  /// @param logger  writes functional-log entries
  /// @param ocpp    knows the stations and talks to them
  /// @param tokens  makes the upload tokens
  /// @param network knows the address under which stations reach the controller
  /// All four belong to the host and must outlive the service.
  stations_maintenance_service(tavi::logger::i_logger& logger,
                               tavi::ocpp1_6::i_req_resp_ocpp_1_6_service& ocpp,
                               tavi::webserver_token::i_req_resp_webserver_token_service& tokens,
                               tavi::network::i_req_resp_network_service& network);
  /// Ends the subscriptions first, so that no event meets a member that is gone.
  ~stations_maintenance_service() override;

  /// Connects the clients, subscribes, brings the table up and reads the configuration, in this order.
  /// @return false at the first step that fails; the failing part has logged why
  bool do_init() override;
  /// Starts periodic generation. @return whether it could be started
  bool do_start() override;
  /// Stops periodic generation. @return whether it could be stopped
  bool do_stop() override;

  /// Reads the configuration and hands it to the managers. Called by `do_init` only.
  /// @return false, with a line in the log, when a key is missing or a manager refuses its values
  bool read_parameters();

 private:
  struct members;
  std::unique_ptr<members> own;
};

}  // namespace tavi::stations_maintenance
