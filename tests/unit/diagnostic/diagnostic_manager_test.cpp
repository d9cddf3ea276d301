#include "diagnostic_manager.h"

#include <optional>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "diagnostic_fixture.h"

namespace tavi::stations_maintenance {
namespace {

namespace fs = std::filesystem;
using spdlog::level::err;
using spdlog::level::warn;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::Return;

std::vector<std::string> names_of(std::vector<diagnostic_report_info> const& reports) {
  std::vector<std::string> names;
  for (auto const& report : reports) {
    names.push_back(report.diagnostic_name);
  }
  return names;
}

tavi::stations::charging_station station_with(unsigned int id) {
  tavi::stations::charging_station station;
  station.id = id;
  return station;
}

class DiagnosticManager : public DiagnosticManagerTest {};

TEST_F(DiagnosticManager, AllowsNothingBeforeItIsInitialised) {
  EXPECT_FALSE(manager.is_generation_allowed(periodic));
  EXPECT_FALSE(manager.is_generation_allowed(manual));
  EXPECT_FALSE(manager.is_my_token(""));
  EXPECT_FALSE(manager.verif_size(0));
}

TEST_F(DiagnosticManager, BlocksATypeWhoseMaximumIsZeroUntilItIsRaised) {
  ASSERT_TRUE(init({.max_periodic = 0, .max_manual = 0}));
  EXPECT_FALSE(manager.is_generation_allowed(periodic));
  EXPECT_FALSE(manager.is_generation_allowed(manual));
  manager.update_max_manual_diagnostic(3);
  EXPECT_TRUE(manager.is_generation_allowed(manual));
  EXPECT_FALSE(manager.is_generation_allowed(periodic));
  manager.update_max_periodic_diagnostic(1);
  EXPECT_TRUE(manager.is_generation_allowed(periodic));
  manager.update_max_periodic_diagnostic(0);
  EXPECT_FALSE(manager.is_generation_allowed(periodic));
}

TEST_F(DiagnosticManager, AllowsNoGenerationOfWhatIsNoType) {
  ASSERT_TRUE(init());
  EXPECT_FALSE(manager.is_generation_allowed(static_cast<diagnostic_report_type>(2)));
  EXPECT_FALSE(manager.is_generation_allowed(static_cast<diagnostic_report_type>(-1)));
}

TEST_F(DiagnosticManager, KnowsATokenOnceTheCountOfItsStationWasAskedFor) {
  ASSERT_TRUE(init());
  EXPECT_FALSE(manager.is_my_token("never handed out"));
  EXPECT_FALSE(manager.is_too_many_diag_for_station("never handed out"));
  EXPECT_TRUE(manager.is_my_token("never handed out"));
}

TEST_F(DiagnosticManager, TellsTheConfigurationInForce) {
  ASSERT_TRUE(init({.max_periodic = 4, .period = std::chrono::seconds(90)}, "tree"));
  EXPECT_EQ(manager.get_max_periodic_report(), 4U);
  EXPECT_TRUE(manager.is_periodic_generation_allowed());
  EXPECT_EQ(manager.get_generation_period(), std::chrono::seconds(90));
  EXPECT_EQ(manager.get_storage_directory(), "tree");
  manager.update_max_periodic_diagnostic(0);
  EXPECT_EQ(manager.get_max_periodic_report(), 0U);
  EXPECT_FALSE(manager.is_periodic_generation_allowed());
  EXPECT_TRUE(manager.update_period_generation(std::chrono::seconds(0)));
  EXPECT_EQ(manager.get_generation_period(), std::chrono::seconds(0));
}

// --- before the storage directory is known -----------------------------------------------------------------

TEST_F(DiagnosticManager, MakesNoDirectoriesBeforeItIsInitialised) {
  EXPECT_FALSE(manager.create_diagnostic_directory_for_station(9));
  EXPECT_FALSE(fs::exists("station_9"));
  fs::create_directory("station_8");
  EXPECT_FALSE(manager.create_diagnostic_directory_for_station(8));
  EXPECT_THAT(log.lines(), testing::Each(testing::Field(&log_line::level, spdlog::level::debug)));
}

TEST_F(DiagnosticManager, RemovesNothingButRowsBeforeItIsInitialised) {
  auto const file = folder.write("station_9/periodic_reports/1_a", "of somebody else").string();
  ASSERT_TRUE(table.insert_diagnostic_report(9, "a", periodic, 1));
  EXPECT_TRUE(manager.remove_station(9));
  EXPECT_TRUE(fs::exists(file));
  EXPECT_THAT(recorded_names(), IsEmpty());
  EXPECT_TRUE(log.holds(spdlog::level::debug, "Leaving directories of station 9 alone"));
}

TEST_F(DiagnosticManager, FailsToRemoveRowsBeforeItIsInitialisedAsAtAnyTime) {
  faults.fail_to_execute("DELETE FROM DiagnosticReports WHERE station_id");
  EXPECT_FALSE(manager.remove_station(9));
}

TEST_F(DiagnosticManager, TouchesNoDirectoryWithAnEmptyStorageDirectory) {
  folder.write("station_9/periodic_reports/1_a", "of somebody else");
  EXPECT_FALSE(init({}, ""));
  EXPECT_FALSE(manager.create_diagnostic_directory_for_station(8));
  EXPECT_TRUE(manager.remove_station(9));
  EXPECT_FALSE(fs::exists("station_8"));
  EXPECT_TRUE(fs::exists("station_9/periodic_reports/1_a"));
}

TEST_F(DiagnosticManager, DiscardsAnUploadAndNothingElseBeforeItIsInitialised) {
  auto const bystander = folder.write("station_9/periodic_reports/1_a", "of somebody else").string();
  auto const uploaded = given_uploaded("a", "content");
  EXPECT_TRUE(manager.save_file("token", "a", uploaded));
  EXPECT_TRUE(log.holds(err, "[diagnostic_manager] Unknown token"));
  EXPECT_FALSE(fs::exists(uploaded));
  EXPECT_TRUE(fs::exists(bystander));
}

// --- listing -----------------------------------------------------------------------------------------------

TEST_F(DiagnosticManager, ListsTheReportsOfAllStationsWithoutAskingForAny) {
  ASSERT_TRUE(init());
  given_stored(1, "a", 3);
  given_stored(2, "b", 5, manual);
  log.clear();
  EXPECT_CALL(ocpp, get_charging_station(testing::_)).Times(0);
  auto const reports = manager.get_diagnostic_reports(std::nullopt);
  ASSERT_TRUE(reports.has_value());
  ASSERT_THAT(names_of(*reports), ElementsAre("a", "b"));
  EXPECT_EQ(reports->at(1).diagnostic_id, 2U);
  EXPECT_EQ(reports->at(1).station_id, 2U);
  EXPECT_EQ(reports->at(1).type, manual);
  EXPECT_EQ(reports->at(1).size, 5U);
  EXPECT_GT(reports->at(1).timestamp_creation, 1'600'000'000);
  EXPECT_THAT(log.lines(), IsEmpty());
}

TEST_F(DiagnosticManager, ListsNothingWhenThereIsNothing) {
  ASSERT_TRUE(init());
  auto const reports = manager.get_diagnostic_reports(std::nullopt);
  ASSERT_TRUE(reports.has_value());
  EXPECT_THAT(*reports, IsEmpty());
}

TEST_F(DiagnosticManager, ListsTheReportsOfOneStation) {
  ASSERT_TRUE(init());
  given_stored(1, "a", 1);
  given_stored(2, "b", 1);
  given_stored(1, "c", 1, manual);
  EXPECT_CALL(ocpp, get_charging_station(1)).WillOnce(Return(station_with(1)));
  auto const reports = manager.get_diagnostic_reports(1U);
  ASSERT_TRUE(reports.has_value());
  EXPECT_THAT(names_of(*reports), ElementsAre("a", "c"));
}

TEST_F(DiagnosticManager, TellsAKnownStationWithoutReportsFromAnUnknownOne) {
  ASSERT_TRUE(init());
  EXPECT_CALL(ocpp, get_charging_station(1)).WillOnce(Return(station_with(1)));
  EXPECT_CALL(ocpp, get_charging_station(2)).WillOnce(Return(std::nullopt));
  auto const known = manager.get_diagnostic_reports(1U);
  ASSERT_TRUE(known.has_value());
  EXPECT_THAT(*known, IsEmpty());
  EXPECT_THAT(log.lines(),
              ElementsAre(log_line{
                  err, "[diagnostic_table] There is not any diagnostic reports found for station 1"}));
  log.clear();
  EXPECT_FALSE(manager.get_diagnostic_reports(2U).has_value());
  EXPECT_THAT(
      log.lines(),
      ElementsAre(log_line{warn, "[diagnostic_manager] Cannot get diagnostic report, station 2 not found"}));
}

TEST_F(DiagnosticManager, ListsNothingOfAnUnknownStationEvenWhenItHasReports) {
  ASSERT_TRUE(init());
  given_stored(2, "b", 1);
  EXPECT_CALL(ocpp, get_charging_station(2)).WillOnce(Return(std::nullopt));
  EXPECT_FALSE(manager.get_diagnostic_reports(2U).has_value());
}

TEST_F(DiagnosticManager, ListsNothingWhenTheDatabaseFails) {
  ASSERT_TRUE(init());
  given_stored(1, "a", 1);
  ON_CALL(ocpp, get_charging_station(1)).WillByDefault(Return(station_with(1)));
  faults.fail_to_execute("SELECT * FROM DiagnosticReports");
  for (auto const& station : {std::optional<unsigned int const>(), std::optional<unsigned int const>(1)}) {
    auto const reports = manager.get_diagnostic_reports(station);
    ASSERT_TRUE(reports.has_value());
    EXPECT_THAT(*reports, IsEmpty());
  }
}

}  // namespace
}  // namespace tavi::stations_maintenance
