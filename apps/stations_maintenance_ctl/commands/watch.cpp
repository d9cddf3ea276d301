#include <algorithm>
#include <atomic>
#include <chrono>
#include <iterator>
#include <mutex>

#include <fmt/format.h>

#include "commands/commands.h"
#include "commands/endpoint_probe.h"
#include "commands/site_access.h"
#include "commands/station_names.h"
#include "program_name.h"
#include "tavi/logger/sub_logger_service.h"
#include "text/site_events.h"

namespace tavi::ctl {

namespace {

template <typename T>
bool contains_or_is_empty(std::vector<T> const& values, T const& one) {
  return values.empty() || std::find(values.begin(), values.end(), one) != values.end();
}

constexpr std::chrono::milliseconds event_poll_interval(200);

/// Writes events down. Its functions are called on the threads of the subscriptions.
class event_writer : public stations::i_sub_charging_stations_service_handler,
                     public webserver_token::i_sub_webserver_token_service_handler,
                     public logger::i_sub_logger_service_handler {
 public:
  event_writer(command_context& command, std::vector<std::uint32_t> const& wanted)
      : context(command), wanted_stations(wanted) {}

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
  void on_functional_log(unsigned int const& category, unsigned int const& subtype,
                         std::string const& text) override {
    write(event_of_log(category, subtype, text));
  }

  /// Whether nobody reads what is written.
  [[nodiscard]] bool is_unread() const { return has_lost_reader; }

 private:
  void write(shown_event event) {
    if (event.station && !contains_or_is_empty(wanted_stations, *event.station)) {
      return;
    }
    auto const now = std::chrono::floor<std::chrono::seconds>(context.clock.now().time_since_epoch());
    std::lock_guard const lock(guard);
    if (event.station) {
      add_identity(event, names.find(*event.station));
    }
    if (!context.console.write(line_of(event, now.count(), context.is_json))) {
      has_lost_reader = true;
    }
  }

  command_context& context;
  std::vector<std::uint32_t> const& wanted_stations;
  std::mutex guard;
  station_names names;
  std::atomic<bool> has_lost_reader = false;
};

/// What is subscribed to.
struct event_sources {
  explicit event_sources(event_writer& writer)
      : charging_stations(program_name, writer), tokens(program_name, writer), log(program_name, writer) {}

  stations::sub_charging_stations_service charging_stations;
  webserver_token::sub_webserver_token_service tokens;
  logger::sub_logger_service log;
};

/// A kind of events.
struct event_kind {
  char const* name;
  char const* service;                ///< that publishes it
  bool is_of_station;                 ///< whether a station tells it
  bool (*subscribe)(event_sources&);  ///< begins to receive it
};

constexpr char const* const charging_stations_service = "charging_stations_service";

constexpr event_kind event_kinds[] = {
    {"station_status", charging_stations_service, true,
     [](event_sources& from) { return from.charging_stations.subscribe_to_station_status(); }},
    {"connector_status_changed", charging_stations_service, true,
     [](event_sources& from) { return from.charging_stations.subscribe_to_connector_status_changed(); }},
    {"command_status", charging_stations_service, true,
     [](event_sources& from) { return from.charging_stations.subscribe_to_command_status(); }},
    {"firmware_status", charging_stations_service, true,
     [](event_sources& from) { return from.charging_stations.subscribe_to_firmware_status(); }},
    {"station_created", charging_stations_service, true,
     [](event_sources& from) { return from.charging_stations.subscribe_to_station_created(); }},
    {"station_deleted", charging_stations_service, true,
     [](event_sources& from) { return from.charging_stations.subscribe_to_station_deleted(); }},
    {"file_uploaded", "webserver_token_service", false,
     [](event_sources& from) { return from.tokens.subscribe_to_file_uploaded(); }},
    {"functional_log", "logger_service", false,
     [](event_sources& from) { return from.log.subscribe_to_functional_log(); }},
};

/// What the user wants to see of it; what no station tells is left out where stations are named.
bool is_wanted(event_kind const& kind, watch_options const& options) {
  return contains_or_is_empty(options.events, std::string(kind.name)) &&
         (options.stations.empty() || kind.is_of_station);
}

/// Tells of services that publish nothing yet; their events are shown once they run.
void announce_missing(command_context& context, std::vector<event_kind> const& wanted) {
  std::string told;
  for (auto const& kind : wanted) {
    // Those of a service stand together.
    if (told != kind.service && !is_reachable(context, kind.service, ".pub", site_advice)) {
      context.console.complain(fmt::format("waiting for the events of {}", kind.service));
    }
    told = kind.service;
  }
}

}  // namespace

exit_code run_command(command_context& context, watch_options const& options) {
  context.clock.take_over_interruption(nullptr);
  event_writer writer(context, options.stations);
  event_sources sources(writer);
  std::vector<event_kind> wanted;
  std::copy_if(std::begin(event_kinds), std::end(event_kinds), std::back_inserter(wanted),
               [&options](event_kind const& kind) { return is_wanted(kind, options); });
  if (wanted.empty()) {
    context.console.complain("no station tells of the events asked for");
    return exit_code::usage;
  }
  if (!std::all_of(wanted.begin(), wanted.end(),
                   [&](event_kind const& kind) { return kind.subscribe(sources); })) {
    context.console.complain("the events cannot be subscribed to: is the path of --runtime-dir too long?");
    return exit_code::failed;
  }
  announce_missing(context, wanted);
  while (!writer.is_unread() && context.console.has_reader()) {
    if (context.clock.wait(event_poll_interval)) {
      return exit_code::done;
    }
  }
  return exit_code::failed;
}

}  // namespace tavi::ctl
