#pragma once

#include <string>

namespace tavi::stations_maintenance {

// The steps of the service's hooks and their order, apart from what they are taken on, so that each failure
// can be tried. `Parts` has the clients, subscriptions, tables and managers as members, named as the
// service's own. The first step that fails ends an operation; nothing is undone.

/// Connects the clients, then subscribes to the events.
template <typename Parts>
[[nodiscard]] bool connect_and_subscribe(Parts& parts) {
  return parts.logger.init(0) && parts.ocpp.init() && parts.tokens.init() && parts.network.init() &&
         parts.webserver_events.subscribe_to_file_uploaded() &&
         parts.stations_events.subscribe_to_station_deleted() &&
         parts.stations_events.subscribe_to_station_created();
}

/// Brings the tables up; those of firmware refer to that of models.
template <typename Parts>
[[nodiscard]] bool init_tables(Parts& parts) {
  return parts.reports.initTable() && parts.models.initTable() && parts.firmwares.initTable();
}

/// Takes every step of the initialisation.
/// @param read_parameters  reads the configuration and initialises the managers; answers with its success
/// @param models_file      the supported models; that it cannot be used is no failure, but having no model is
/// @throw whatever the check of reports against rows throws: a tree that cannot be walked to its end
template <typename Parts, typename ReadParameters>
[[nodiscard]] bool init_parts(Parts& parts, ReadParameters read_parameters, std::string const& models_file) {
  if (!connect_and_subscribe(parts) || !init_tables(parts) || !read_parameters()) {
    return false;
  }
  parts.diagnostics.check_sanity();
  // A file that cannot be used leaves no model, which the table refuses.
  parts.supported_models.load(models_file);
  return parts.models.add_stations_models(parts.supported_models.get_station_models());
}

/// Begins to answer requests, then arms periodic generation.
template <typename Parts>
[[nodiscard]] bool start_parts(Parts& parts) {
  return parts.requests.start() && parts.diagnostics.start_periodic_generation();
}

/// Stops answering requests, then periodic generation.
template <typename Parts>
[[nodiscard]] bool stop_parts(Parts& parts) {
  return parts.requests.stop() && parts.diagnostics.stop_periodic_generation();
}

}  // namespace tavi::stations_maintenance
