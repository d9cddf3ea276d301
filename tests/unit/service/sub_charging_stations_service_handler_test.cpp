#include "sub_charging_stations_service_handler.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "diagnostic_fixture.h"

namespace tavi::stations_maintenance {
namespace {

namespace fs = std::filesystem;
using testing::ElementsAre;
using testing::IsEmpty;

class StationEvents : public DiagnosticManagerTest {
 protected:
  void SetUp() override {
    DiagnosticManagerTest::SetUp();
    ASSERT_TRUE(init());
  }

  sub_charging_stations_service_handler handler{manager};
};

TEST_F(StationEvents, MakeTheDirectoriesOfANewStation) {
  handler.on_station_created(6);
  EXPECT_TRUE(fs::is_directory(in_folder("reports/station_6/manual_reports")));
  EXPECT_TRUE(fs::is_directory(in_folder("reports/station_6/periodic_reports")));
}

TEST_F(StationEvents, RemoveADeletedStationWithRowsAndFiles) {
  given_stored(6, "gone", 1);
  given_stored(7, "kept", 1);
  handler.on_station_deleted(6);
  EXPECT_FALSE(fs::exists(in_folder("reports/station_6")));
  EXPECT_THAT(recorded_names(), ElementsAre("kept"));
}

TEST_F(StationEvents, ChangeNothingWhenOnlyAStateChanges) {
  handler.on_station_status({.station_id = 6, .connected = true, .diagnostics_status = {}});
  handler.on_connector_status_changed(6, 1, {.status = "Available", .error_code = "NoError"});
  handler.on_command_status(6, 1, tavi::stations::cs_request_status::accepted);
  EXPECT_TRUE(fs::is_empty(in_folder("reports")));
  EXPECT_THAT(log.lines(), IsEmpty());
}

}  // namespace
}  // namespace tavi::stations_maintenance
