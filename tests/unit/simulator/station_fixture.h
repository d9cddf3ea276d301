#pragma once

#include <algorithm>
#include <chrono>
#include <filesystem>
#include <memory>
#include <string>

#include <boost/asio/io_context.hpp>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "log_capture.h"
#include "scripted_central_system.h"
#include "simulated_station.h"
#include "temporary_folder.h"

/// A station and a scripted central system on one event loop, which the test itself runs.
class station_fixture : public ::testing::Test {
 protected:
  station_fixture() : server(std::make_unique<scripted_central_system>(loop)) {
    options.url = server->station_url();
    options.identity = "CS-007";
    options.vendor = "Acme";
    options.model = "X7-22";
    options.serial = "S-1";
    options.firmware_version = "2.5";
    options.work_folder = folder.path() / "station";
    options.pace.first_pause = std::chrono::milliseconds(5);
    options.pace.longest_pause = std::chrono::milliseconds(40);
  }

  /// Makes and starts the station.
  [[nodiscard]] bool start() {
    station = std::make_unique<tavi::simulator::simulated_station>(loop, options);
    return station->start();
  }

  /// Starts the station and runs the loop until both connectors are announced.
  [[nodiscard]] bool start_and_boot() {
    return start() && run_until([this] { return server->count("StatusNotification") >= 2; });
  }

  /// Runs the loop until the condition holds. @return false when it does not in a generous time
  template <typename Condition>
  [[nodiscard]] bool run_until(Condition condition) {
    auto const deadline = std::chrono::steady_clock::now() + std::chrono::seconds(60);
    loop.restart();
    while (!condition()) {
      if (std::chrono::steady_clock::now() > deadline || loop.run_one_until(deadline) == 0) {
        return condition();
      }
    }
    return true;
  }

  /// Runs the loop until the trace holds `times` entries that begin so.
  [[nodiscard]] bool run_until_traced(std::string const& beginning, std::size_t times = 1) {
    return run_until([&] { return server->count(beginning) >= times; });
  }

  /// How many lines of the log hold `part`.
  [[nodiscard]] std::ptrdiff_t logged(std::string const& part) const {
    auto const lines = log.lines();
    return std::ranges::count_if(
        lines, [&](log_line const& line) { return line.text.find(part) != std::string::npos; });
  }

  boost::asio::io_context loop;
  temporary_folder folder;
  log_capture log;
  std::unique_ptr<scripted_central_system> server;
  tavi::simulator::station_options options;
  std::unique_ptr<tavi::simulator::simulated_station> station;
};
