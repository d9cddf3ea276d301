#pragma once

#include <chrono>
#include <memory>
#include <string>

#include <gtest/gtest.h>

#include "../../http/loop_thread.h"
#include "fake_firmware_source.h"
#include "fake_station_events.h"
#include "log_capture.h"
#include "ocpp/central_system.h"
#include "temporary_folder.h"
#include "test_station.h"

namespace tavi::site::ocpp {

/// A site that has its OCPP endpoint and nothing else, on a port of its own.
class OcppSite : public testing::Test {
 public:
  ~OcppSite() override { stop(); }

 protected:
  OcppSite() {
    options.stations_file = state.path() / "stations.json";
    options.ping_patience = std::chrono::seconds(30);
    options.session.call_time_out = std::chrono::seconds(30);
  }

  /// Begins to take stations, with the options as they are now.
  void start() {
    site = std::make_unique<running_site>(options, events, firmware);
    auto& started = *site;
    is_started = started.loop.call([&started] {
      return started.system.add_to(started.listener) && started.listener.start("127.0.0.1", 0);
    });
    ASSERT_TRUE(is_started);
    port = started.loop.call([&started] { return started.listener.port(); });
  }

  /// Ends the site, waits until nothing of it runs any more, and takes it down.
  void stop() {
    end();
    site.reset();
  }

  /// Ends the site and waits until its loop has; whoever waits for an answer of it may still be in it.
  void end() {
    if (site && !site->is_ended) {
      auto& running = *site;
      running.is_ended = true;
      running.loop.call([&running] {
        running.listener.stop();
        running.system.stop([] {});
        return true;
      });
      running.loop.finish();
    }
  }

  /// A station that is connected under this identity.
  test_station connected(std::string const& identity) {
    test_station station;
    EXPECT_EQ(station.connect(port, "/ocpp/" + identity), 101U);
    return station;
  }

  [[nodiscard]] central_system& system() { return site->system; }

  log_capture log;
  temporary_folder state;
  fake_station_events events;
  fake_firmware_source firmware;
  central_system_options options;
  std::uint16_t port = 0;

 private:
  struct running_site {
    running_site(central_system_options const& options, station_events& events, firmware_source& firmware)
        : listener(loop.loop, {}), system(loop.loop, options, events, firmware) {}
    loop_thread loop;
    http::http_listener listener;
    central_system system;
    bool is_ended = false;
  };

  bool is_started = false;
  std::unique_ptr<running_site> site;
};

}  // namespace tavi::site::ocpp
