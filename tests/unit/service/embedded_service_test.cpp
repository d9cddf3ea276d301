#include <chrono>
#include <filesystem>
#include <future>
#include <mutex>
#include <string>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "embedded_service_fixture.h"
#include "mura_common/delivery.h"

namespace tavi::stations_maintenance {
namespace {

using namespace std::chrono_literals;
using testing::ElementsAre;

using EmbeddedService = EmbeddedServiceTest;

TEST_F(EmbeddedService, FilesTheReportsThatItsHostHandsIn) {
  ASSERT_TRUE(begin());
  ASSERT_EQ(ask_for_report(), generation_result::accepted);
  EXPECT_EQ(token, "diagnostic_manager 1");
  auto const uploaded = hand_in(token, "diag.log", "content");
  EXPECT_FALSE(std::filesystem::exists(uploaded));
  EXPECT_THAT(reports(), ElementsAre("diag.log"));
  EXPECT_EQ(content_of(folder.path() / "reports/station_3/manual_reports/1_diag.log"), "content");
}

TEST_F(EmbeddedService, StoresTheFirmwareThatItsHostHandsIn) {
  ASSERT_TRUE(begin());
  std::string uri;
  unsigned int id = 0;
  ASSERT_EQ(client.store_firmware({"2.1", {"X7-22"}}, uri, id).value, store_firmware_result::announced);
  hand_in("fw_storage_mgr 1", "fw.bin", "image");
  EXPECT_EQ(content_of(folder.path() / "firmware/1_fw.bin"), "image");
  EXPECT_EQ(client.get_charging_station_firmware(3).value.value().value().size(), 1U);
}

TEST_F(EmbeddedService, LeavesFilesThatItDoesNotExpectToItsHost) {
  ASSERT_TRUE(begin());
  EXPECT_TRUE(std::filesystem::exists(hand_in("somebody's", "diag.log", "content")));
}

TEST_F(EmbeddedService, LetsNoNameOutOfItsFolders) {
  ASSERT_TRUE(begin());
  ASSERT_EQ(ask_for_report(), generation_result::accepted);
  hand_in(token, "../../../escaped", "content");
  EXPECT_THAT(reports(), ElementsAre("escaped"));
  EXPECT_TRUE(std::filesystem::exists(folder.path() / "reports/station_3/manual_reports/1_escaped"));
}

TEST_F(EmbeddedService, KeepsItsDirectoriesInStepWithTheStationsThatItsHostTellsOf) {
  ASSERT_TRUE(begin());
  auto& stations = embedded.station_events();
  stations.on_station_created(5);
  EXPECT_TRUE(std::filesystem::is_directory(folder.path() / "reports/station_5"));
  stations.on_station_deleted(5);
  EXPECT_FALSE(std::filesystem::exists(folder.path() / "reports/station_5"));
}

TEST_F(EmbeddedService, SubscribesToNothing) {
  // Too long a path for any socket of a publisher.
  setenv("TAVI_RUNTIME_DIR", ("/" + std::string(200, 'x')).c_str(), 1);
  EXPECT_FALSE(init(service));
  log.clear();
  EXPECT_TRUE(init(embedded));
  EXPECT_FALSE(log.holds(spdlog::level::err, ".pub"));
}

TEST_F(EmbeddedService, TakesWhatIsHandedInBesideWhatIsPublished) {
  ASSERT_TRUE(init(service));
  service.station_events().on_station_created(5);
  EXPECT_TRUE(std::filesystem::is_directory(folder.path() / "reports/station_5"));
}

TEST_F(EmbeddedService, HandlesWhatIsHandedInInItsTurn) {
  ASSERT_TRUE(begin());
  std::future<void> handled;
  {
    auto const lane = mura_common::delivery_lane_of("stations_maintenance_service");
    std::lock_guard const turn(*lane);
    handled = std::async(std::launch::async, [&] { embedded.station_events().on_station_created(5); });
    EXPECT_EQ(handled.wait_for(300ms), std::future_status::timeout);
    EXPECT_FALSE(std::filesystem::exists(folder.path() / "reports/station_5"));
  }
  handled.get();
  EXPECT_TRUE(std::filesystem::exists(folder.path() / "reports/station_5"));
}

TEST_F(EmbeddedService, TouchesNoFileForEventsBeforeItIsInitialised) {
  auto const file = folder.write("station_5/of_somebody_else", "content");
  std::filesystem::current_path(folder.path());
  embedded.station_events().on_station_created(6);
  embedded.station_events().on_station_deleted(5);
  EXPECT_TRUE(std::filesystem::exists(hand_in("diagnostic_manager 1", "diag.log", "content")));
  EXPECT_TRUE(std::filesystem::exists(file));
  EXPECT_FALSE(std::filesystem::exists(folder.path() / "station_6"));
  EXPECT_TRUE(begin());
}

}  // namespace
}  // namespace tavi::stations_maintenance
