#pragma once

#include <chrono>
#include <memory>

#include "mura_common/service.h"
#include "stations_maintenance/export.h"

namespace tavi::logger {
class i_logger;
}
namespace tavi::ocpp1_6 {
class i_req_resp_ocpp_1_6_service;
}
namespace tavi::stations {
class i_sub_charging_stations_service_handler;
}
namespace tavi::webserver_token {
class i_req_resp_webserver_token_service;
class i_sub_webserver_token_service_handler;
}  // namespace tavi::webserver_token
namespace tavi::network {
class i_req_resp_network_service;
}

namespace tavi::stations_maintenance {

/// How the service learns of uploaded files and of stations that come and go.
enum class event_delivery {
  subscribed,  ///< over IPC, from the publishers of the site's services
  handed_in    ///< by the host, see `upload_events` and `station_events`; nothing is subscribed to
};

/// Keeps the firmware and the diagnostic reports of a site's charging stations.
///
/// A host constructs it with the clients of four sibling services, then drives it through the framework:
/// `init` (clients connected, events subscribed to, tables ready, configuration read, what a crash left
/// cleaned up, supported models stored), `start` (requests answered, periodic generation armed), `stop`,
/// destruction. A step that fails makes its call return false at once, with nothing undone; the host then
/// destroys the service. It is called from one thread; requests, events and timers have threads of their own,
/// and at most one request or event is being handled at any moment. `init` changes the current directory of
/// the process to the working directory, against which relative storage paths are resolved: the host must not
/// change it as long as the service lives, and makes relative paths of its own absolute before.
///
/// Other services reach it over IPC, see `i_req_resp_stations_maintenance_service_handler`. The kinds of
/// stations that the site supports are read from `supported_stations.json` in the configuration directory; at
/// least one is needed.
///
/// Configuration, all keys required, in `stations_maintenance_service.toml` of the configuration directory:
/// `diagnostic_report.max_periodic_report_per_station`, `.max_manual_report_per_station` (reports, 0 forbids
/// the generation), `.period_for_automatic_generation` (seconds, 0 switches it off),
/// `.max_total_directory_size` (bytes), `.diagnostic_report_storage_directory`, `.zip_command`,
/// `.zsh_command`; `firmware_storage.max_firmware_stored`, `.max_firmware_by_station` (of each model),
/// `.storage_path`, `.upload_timeout` (seconds). `max_periodic_report_per_station` and
/// `period_for_automatic_generation` change at run time, on request.
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
  /// As above, for a host that may hand the events in itself.
  stations_maintenance_service(tavi::logger::i_logger& logger,
                               tavi::ocpp1_6::i_req_resp_ocpp_1_6_service& ocpp,
                               tavi::webserver_token::i_req_resp_webserver_token_service& tokens,
                               tavi::network::i_req_resp_network_service& network, event_delivery delivery);
  /// Ends the request server and the subscriptions first, so that no request or event meets a member that is
  /// gone. Must not run while a hook does.
  ~stations_maintenance_service() override;

  // Where a host with siblings of its own hands their events in, whatever the delivery. May be called from
  // any thread from construction on, and not any more once destruction begins. A call waits for the service's
  // turn, so it returns when the event has been handled, and must not be made out of a call by the service to
  // one of its four clients: it would wait for itself. What fails has a line in the log and goes no further.
  // The answers belong to the service and live as long as it.

  /// Takes uploaded files. One whose token the service expects is copied into its store and removed from its
  /// path, also when it is refused; any other is left alone, as is every one before `init` has succeeded. The
  /// same file may be told again and again until it is gone, which covers an upload that was quicker than the
  /// request that asked for it.
  [[nodiscard]] tavi::webserver_token::i_sub_webserver_token_service_handler& upload_events();
  /// Takes stations that are created, whose directories are then made, and deleted, whose reports then go;
  /// the other events have no effect. What comes before `init` has read
  /// the configuration changes no directory.
  [[nodiscard]] tavi::stations::i_sub_charging_stations_service_handler& station_events();

  /// Connects the clients, subscribes unless events are handed in, brings the tables up, reads the
  /// configuration, brings reports and rows into agreement and stores the supported models, in this order.
  ///
  /// A file of supported models that cannot be used is no failure of its own, but having no model is.
  /// @return false at the first step that fails; the failing part has logged why
  bool do_init() override;
  /// Starts the request server, then periodic generation. @return false when one of them cannot be started:
  /// without the server nothing is started, without the generation the server goes on
  bool do_start() override;
  /// Stops the request server, waiting for a request being handled, then periodic generation. Events are
  /// handled until destruction. @return false when one of them cannot be stopped; without the server's stop
  /// generation goes on
  bool do_stop() override;

  /// Reads the configuration and hands it to the managers, the firmware manager last. Called by `do_init`
  /// only.
  /// @return false, with a line in the log, when a key is missing or a manager refuses its values
  bool read_parameters();

  // The next two are called by requests only. Each puts a new value into force in the configuration and saves
  // the file, in which every other byte stays; the diagnostic manager is told by whoever calls.

  /// Stores a new period of automatic generation; 0 means none.
  /// @return false, with a line in the log, when the configuration's limits refuse the value, which changes
  ///         nothing, or it cannot be saved: the file then keeps the old value, while the new one stays in
  ///         force and is saved with whatever is saved next
  /// @throw std::bad_optional_access  when the configuration has lost the key
  bool update_period_generation(std::chrono::seconds const& period);
  /// Stores a new maximum of periodic reports for each station; 0 forbids them.
  /// @return as `update_period_generation` @throw std::bad_optional_access  as there
  bool update_max_periodic_diagnostic(unsigned int const& max);

 private:
  struct members;
  std::unique_ptr<members> own;
};

}  // namespace tavi::stations_maintenance
