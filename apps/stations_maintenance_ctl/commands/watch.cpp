#include <atomic>
#include <chrono>
#include <mutex>

#include "commands/commands.h"
#include "commands/endpoint_probe.h"
#include "program_name.h"
#include "text/site_events.h"

namespace tavi::ctl {

namespace {

constexpr std::chrono::milliseconds event_poll_interval(200);

/// Writes every event down. Its functions are called on the threads of the subscriptions.
class event_writer : public stations::i_sub_charging_stations_service_handler,
                     public webserver_token::i_sub_webserver_token_service_handler {
 public:
  explicit event_writer(command_context& command) : context(command) {}

  void on_station_status(stations::charging_station_status const& status) override {
    write(event_of(status));
  }
  void on_connector_status_changed(unsigned int const& station_id, unsigned int const& connector_id,
                                   stations::charging_station_connector_status const& status) override {
    write(event_of(station_id, connector_id, status));
  }
  void on_command_status(unsigned int const& station_id, unsigned int const& request_id,
                         stations::cs_request_status const& status) override {
    write(event_of(station_id, request_id, status));
  }
  void on_firmware_status(unsigned int const& station_id, std::string const& status) override {
    write(event_of(station_id, status));
  }
  void on_station_created(unsigned int const& station_id) override {
    write(event_of("station_created", station_id));
  }
  void on_station_deleted(unsigned int const& station_id) override {
    write(event_of("station_deleted", station_id));
  }
  void on_file_uploaded(std::string const& token, std::string const& file_name,
                        std::string const& file_path) override {
    write(event_of(token, file_name, file_path));
  }

  /// Whether nobody reads what is written.
  [[nodiscard]] bool is_unread() const { return has_lost_reader; }

 private:
  void write(shown_event const& event) {
    auto const now = std::chrono::floor<std::chrono::seconds>(context.clock.now().time_since_epoch());
    std::lock_guard const lock(guard);
    if (!context.console.write(line_of(event, now.count(), context.is_json))) {
      has_lost_reader = true;
    }
  }

  command_context& context;
  std::mutex guard;
  std::atomic<bool> has_lost_reader = false;
};

/// Tells of services that publish nothing yet; their events are shown once they run.
void announce_missing(command_context& context) {
  for (auto const* const service : {"charging_stations_service", "webserver_token_service"}) {
    if (!is_reachable(context, service, ".pub", "Start the site's services (tavi_site --help)")) {
      context.console.complain("waiting for the events of " + std::string(service));
    }
  }
}

}  // namespace

exit_code run_command(command_context& context, watch_options const& /*options*/) {
  context.clock.take_over_interruption(nullptr);
  event_writer writer(context);
  stations::sub_charging_stations_service charging_stations(program_name, writer);
  webserver_token::sub_webserver_token_service tokens(program_name, writer);
  auto const is_subscribed =
      charging_stations.subscribe_to_station_status() &&
      charging_stations.subscribe_to_connector_status_changed() &&
      charging_stations.subscribe_to_command_status() && charging_stations.subscribe_to_firmware_status() &&
      charging_stations.subscribe_to_station_created() && charging_stations.subscribe_to_station_deleted() &&
      tokens.subscribe_to_file_uploaded();
  if (!is_subscribed) {
    context.console.complain("the events cannot be subscribed to: is the path of --runtime-dir too long?");
    return exit_code::failed;
  }
  announce_missing(context);
  while (!writer.is_unread() && context.console.has_reader()) {
    if (context.clock.wait(event_poll_interval)) {
      return exit_code::done;
    }
  }
  return exit_code::failed;
}

}  // namespace tavi::ctl
