#include <fstream>
#include <memory>
#include <optional>
#include <string>

#include "../../http/loop_thread.h"
#include "ipc_test.h"
#include "sanitizer.h"
#include "simulated_station.h"
#include "site.h"
#include "tavi/ocpp1_6/req_resp_ocpp_1_6_service.h"
#include "tavi/stations/sub_charging_stations_service.h"

namespace tavi::site {
namespace {

namespace fs = std::filesystem;

constexpr std::uint64_t mebibyte = 1024 * 1024;

/// The most memory in bytes that this process has held since `forget_peak`.
std::uint64_t peak_memory() {
  std::ifstream status("/proc/self/status");
  for (std::string line; std::getline(status, line);) {
    if (line.starts_with("VmHWM:")) {
      return std::stoull(line.substr(6)) * 1024;
    }
  }
  return 0;
}

/// @return whether the system has forgotten it
bool forget_peak() {
  std::ofstream control("/proc/self/clear_refs");
  control << "5" << std::flush;
  return control.good();
}

/// Collects what the station tells about its firmware.
class firmware_subscriber : public tavi::stations::i_sub_charging_stations_service_handler {
 public:
  void on_station_status(tavi::stations::charging_station_status const&) override {}
  void on_connector_status_changed(unsigned int const&, unsigned int const&,
                                   tavi::stations::charging_station_connector_status const&) override {}
  void on_command_status(unsigned int const&, unsigned int const&,
                         tavi::stations::cs_request_status const&) override {}
  void on_station_created(unsigned int const&) override {}
  void on_station_deleted(unsigned int const&) override {}
  void on_firmware_status(unsigned int const& station, std::string const& status) override {
    told.add(std::to_string(station) + " " + status);
  }

  collector<std::string> told;
};

/// A whole site, a client of it, and a simulated station on an event loop of its own.
class FirmwareWay : public ipc_test {
 public:
  ~FirmwareWay() override {
    if (station) {
      station->stop();
      stations.finish();
    }
  }

 protected:
  FirmwareWay() {
    options.state_folder = state.path() / "state";
    options.port = 0;
    options.firmware.folders = {state.path() / "store"};
    options.update.retry_interval = std::chrono::seconds(0);
    station_options.identity = "CS-1";
    station_options.work_folder = state.path() / "station";
    station_options.pace.first_pause = std::chrono::milliseconds(50);
    station_options.pace.install_time = std::chrono::milliseconds(1);
  }

  /// Starts everything and waits until the station and the subscription are there.
  void start() {
    ASSERT_TRUE(running.emplace(options).start());
    ASSERT_TRUE(client.init());
    ASSERT_TRUE(events.subscribe_to_firmware_status());
    station_options.url = "ws://" + running->endpoint() + "/ocpp";
    auto const is_started = stations.call([this] {
      station = std::make_unique<simulator::simulated_station>(stations.loop, station_options);
      return station->start();
    });
    ASSERT_TRUE(is_started);
    ASSERT_TRUE(log.wait_for(spdlog::level::info, "CS-1 booted", generous));
  }

  /// Asks for an update. @return the answer
  int request(fs::path const& file) {
    unsigned int number = 0;
    return client.request_firmware_update(1, file.string(), number);
  }

  [[nodiscard]] fs::path installed() const { return station_options.work_folder / "firmware" / "installed"; }

  temporary_folder state;
  site_options options;
  simulator::station_options station_options;
  std::optional<site> running;
  tavi::ocpp1_6::req_resp_ocpp_1_6_service client;
  firmware_subscriber told;
  tavi::stations::sub_charging_stations_service events{"test", told};
  loop_thread stations;
  std::unique_ptr<simulator::simulated_station> station;
};

TEST_F(FirmwareWay, StationFetchesInstallsAndBootsWithWhatItWasSent) {
  auto const file = state.write("store/7_x7 \xc3\xa4_2.6.0.bin", "firmware");
  start();
  EXPECT_EQ(request(file), 0);
  ASSERT_TRUE(log.wait_for(spdlog::level::info, "CS-1 reboots with firmware 2.6.0", generous));
  EXPECT_EQ(content_of(installed()), "firmware");
  EXPECT_TRUE(log.holds(spdlog::level::info, "[station_answers] station 1 tells firmware status Installed"));
  ASSERT_TRUE(log.wait_for(spdlog::level::info, "CS-1 disconnected", generous));
}

TEST_F(FirmwareWay, StationThatLosesItsConnectionFetchesTheRest) {
  std::string content;
  for (int number = 0; content.size() < mebibyte; ++number) {
    content += std::to_string(number) + ".";
  }
  auto const file = state.write("store/7_x7_2.6.0.bin", content);
  station_options.break_download_after = 500'000;
  start();
  EXPECT_EQ(request(file), 0);
  ASSERT_TRUE(log.wait_for(spdlog::level::info, "CS-1 reboots with firmware 2.6.0", generous));
  EXPECT_TRUE(
      log.holds(spdlog::level::info, "tries to download its firmware again in 0 s, from byte 500000"));
  EXPECT_TRUE(log.wait_for(spdlog::level::info, " bytes from 500000 of ", generous));
  EXPECT_EQ(content_of(installed()) == content, true);
}

TEST_F(FirmwareWay, SubscribersLearnWhatTheStationTells) {
  auto const file = state.write("store/7_x7_2.6.0.bin", "firmware");
  start();
  // A subscription takes its time to reach the publisher: updates come until one of them was noticed.
  for (int attempt = 0; told.told.wait_for(1, std::chrono::milliseconds(100)).empty(); ++attempt) {
    ASSERT_LT(attempt, 300);
    static_cast<void>(request(file));
  }
  auto const all = told.told.wait_for(1);
  EXPECT_TRUE(all[0].starts_with("1 ")) << all[0];
}

TEST_F(FirmwareWay, WhatMayNotBeDeliveredIsToldApart) {
  auto const secret = state.write("secret.bin", "secret");
  state.write("store/7_x7_2.6.0.bin", "firmware");
  start();
  EXPECT_EQ(request(secret), 3);
  EXPECT_EQ(request(state.path() / "store"), 3);
  EXPECT_EQ(request("/etc/passwd"), 3);
  unsigned int number = 0;
  EXPECT_EQ(client.request_firmware_update(2, secret.string(), number), 1);
}

TEST_F(FirmwareWay, NothingIsDeliveredWithoutConfiguredFolders) {
  options.firmware.folders.clear();
  auto const file = state.write("store/7_x7_2.6.0.bin", "firmware");
  start();
  EXPECT_EQ(request(file), 3);
}

TEST_F(FirmwareWay, LargeFirmwarePassesThroughBothSidesInBoundedMemory) {
  constexpr std::uint64_t size = (is_slowed_by_sanitizer ? 20 : 200) * mebibyte;
  auto const file = state.write("store/7_x7_2.6.0.bin", "beginning");
  fs::resize_file(file, size - 3);
  std::ofstream(file, std::ios::binary | std::ios::app) << "end";
  start();
  ASSERT_TRUE(forget_peak());
  auto const before = peak_memory();
  EXPECT_EQ(request(file), 0);
  ASSERT_TRUE(log.wait_for(spdlog::level::info, "CS-1 reboots with firmware 2.6.0", 4 * generous));
  auto const peak = peak_memory();
  RecordProperty("bytes_before", std::to_string(before));
  RecordProperty("bytes_at_most", std::to_string(peak));
  if (!is_slowed_by_sanitizer) {  // which would count memory of its own
    EXPECT_LT(peak, before + 24 * mebibyte);
  }
  EXPECT_EQ(fs::file_size(installed()), size);
  EXPECT_TRUE(log.holds(spdlog::level::info, "(" + std::to_string(size) + " bytes), SHA-256 "));
}

}  // namespace
}  // namespace tavi::site
