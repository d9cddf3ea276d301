#include <chrono>
#include <filesystem>
#include <mutex>
#include <optional>
#include <string>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "mura_common/delivery.h"
#include "service_fixture.h"
#include "tavi/stations/sub_charging_stations_service.h"
#include "tavi/webserver_token/sub_webserver_token_service.h"

namespace tavi::stations_maintenance {
namespace {

using namespace std::chrono_literals;

/// The events that reach an initialised service, from publishers of the test's own.
class ServiceEvents : public ServiceTest {
 protected:
  void SetUp() override {
    ASSERT_TRUE(stations.start());
    ASSERT_TRUE(uploads.start());
    ASSERT_TRUE(init());
  }

  /// Publishes again and again, as subscribers may come late, until a log line shows that it was received.
  template <typename Publish>
  [[nodiscard]] bool is_received(Publish publish, std::string const& line,
                                 spdlog::level::level_enum level = spdlog::level::info) {
    auto const deadline = std::chrono::steady_clock::now() + 60s;
    while (std::chrono::steady_clock::now() < deadline) {
      publish();
      if (log.wait_for(level, line, 50ms)) {
        return true;
      }
    }
    return false;
  }

  /// Waits until the event that is being handled has been: no other one holds the service's turn meanwhile.
  static void wait_until_handled() {
    auto const lane = mura_common::delivery_lane_of("stations_maintenance_service");
    std::lock_guard const turn(*lane);
  }

  tavi::stations::pub_charging_stations_service stations;
  tavi::webserver_token::pub_webserver_token_service uploads;
};

TEST_F(ServiceEvents, MakeAndRemoveAStationsDirectories) {
  ASSERT_TRUE(is_received([&] { stations.publish_station_created(5); },
                          "Creating directories for the diagnostic report of station 5"));
  wait_until_handled();
  ASSERT_TRUE(std::filesystem::exists(folder.path() / "reports/station_5"));
  // Deleted, then made again: the second line can only come after the first directory is gone.
  log.clear();
  EXPECT_TRUE(is_received(
      [&] {
        stations.publish_station_deleted(5);
        stations.publish_station_created(5);
      },
      "Creating directories for the diagnostic report of station 5"));
}

TEST_F(ServiceEvents, OfStationsWaitForTheServicesTurn) {
  std::string const line = "Creating directories for the diagnostic report of station ";
  ASSERT_TRUE(is_received([&] { stations.publish_station_created(4); }, line + "4"));
  wait_until_handled();
  {
    auto const lane = mura_common::delivery_lane_of("stations_maintenance_service");
    std::lock_guard const turn(*lane);
    stations.publish_station_created(5);
    EXPECT_FALSE(log.wait_for(spdlog::level::info, line + "5", 300ms));
  }
  EXPECT_TRUE(log.wait_for(spdlog::level::info, line + "5", 60s));
}

TEST_F(ServiceEvents, TellOfUploadsThatAreNotItsOwn) {
  EXPECT_TRUE(is_received([&] { uploads.publish_file_uploaded("token", "a.bin", "/nowhere"); },
                          "File a.bin uploaded on tavi"));
}

TEST_F(ServiceEvents, GoOnBeingHandledAfterAStop) {
  ASSERT_TRUE(service.start());
  ASSERT_TRUE(service.stop(0));
  log.clear();
  EXPECT_TRUE(is_received([&] { stations.publish_station_created(6); },
                          "Creating directories for the diagnostic report of station 6"));
}

/// The events that reach a service whose start failed after it had subscribed.
class EventsAfterAFailedStart : public ServiceEvents {
 protected:
  void SetUp() override {
    ASSERT_TRUE(stations.start());
    ASSERT_TRUE(uploads.start());
    given_configuration("upload_timeout");
    ASSERT_FALSE(init());
  }
};

TEST_F(EventsAfterAFailedStart, LeaveTheCurrentDirectoryAlone) {
  auto const file = folder.write("station_9/of_somebody_else", "content");
  EXPECT_TRUE(is_received([&] { stations.publish_station_deleted(9); },
                          "Leaving directories of station 9 alone", spdlog::level::debug));
  EXPECT_TRUE(is_received([&] { stations.publish_station_created(5); },
                          "Leaving directories of station 5 alone", spdlog::level::debug));
  wait_until_handled();
  EXPECT_TRUE(std::filesystem::exists(file));
  EXPECT_FALSE(std::filesystem::exists(folder.path() / "station_5"));
}

TEST_F(EventsAfterAFailedStart, LeaveUploadedFilesToWhoeverExpectsThem) {
  auto const file = folder.write("spool/a.bin", "content");
  EXPECT_TRUE(is_received([&] { uploads.publish_file_uploaded("token", "a.bin", file.string()); },
                          "File a.bin uploaded on tavi"));
  wait_until_handled();
  EXPECT_TRUE(std::filesystem::exists(file));
}

}  // namespace
}  // namespace tavi::stations_maintenance
