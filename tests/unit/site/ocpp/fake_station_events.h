#pragma once

#include <algorithm>
#include <condition_variable>
#include <mutex>
#include <string>
#include <vector>

#include <fmt/format.h>

#include "ocpp/station_events.h"

/// Keeps every event as a short text, such as "created 1" or "status 1 online uploading".
class fake_station_events : public tavi::site::ocpp::station_events {
 public:
  void on_created(unsigned int id) override { add(fmt::format("created {}", id)); }
  void on_status(tavi::stations::charging_station_status const& status) override {
    add(fmt::format("status {} {} {}", status.station_id, status.connected ? "online" : "offline",
                    tavi::stations::station_diagnostics_status_helper::name_of(status.diagnostics_status)));
  }
  void on_connector_status(unsigned int id, unsigned int connector,
                           tavi::stations::charging_station_connector_status const& status) override {
    add(fmt::format("connector {}/{} {} {}", id, connector, status.status, status.error_code));
  }
  void on_command_status(unsigned int id, unsigned int request,
                         tavi::stations::cs_request_status status) override {
    add(fmt::format("command {}/{} {}", id, request, static_cast<unsigned int>(status)));
  }

  void on_firmware_status(unsigned int id, std::string const& status) override {
    add(fmt::format("firmware {} {}", id, status));
  }

  /// Every event so far, in order.
  [[nodiscard]] std::vector<std::string> all() const {
    std::lock_guard const lock(guard);
    return kept;
  }

  /// Waits until an event has come at least so many times. @return whether it has within half a minute
  [[nodiscard]] bool wait_for(std::string const& event, long times = 1) {
    std::unique_lock lock(guard);
    return came.wait_for(lock, std::chrono::seconds(30),
                         [&] { return std::count(kept.begin(), kept.end(), event) >= times; });
  }

 private:
  void add(std::string event) {
    std::lock_guard const lock(guard);
    kept.push_back(std::move(event));
    came.notify_all();
  }

  mutable std::mutex guard;
  std::condition_variable came;
  std::vector<std::string> kept;
};
