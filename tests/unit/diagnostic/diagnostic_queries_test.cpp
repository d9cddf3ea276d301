#include <optional>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "diagnostic_fixture.h"
#include "report_removal.h"
#include "stations_maintenance/diagnostic_report_filter.h"

namespace tavi::stations_maintenance {
namespace {

namespace fs = std::filesystem;
using spdlog::level::err;
using spdlog::level::info;
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

class DiagnosticQueries : public DiagnosticManagerTest {
 protected:
  void SetUp() override {
    DiagnosticManagerTest::SetUp();
    ASSERT_TRUE(init());
  }
};

TEST_F(DiagnosticQueries, TellTheConfigurationInForce) {
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

// --- listing --------------------------------------------------------------------------------------------

TEST_F(DiagnosticQueries, ListTheReportsOfAllStationsWithoutAskingForAny) {
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

TEST_F(DiagnosticQueries, ListNothingWhenThereIsNothing) {
  auto const reports = manager.get_diagnostic_reports(std::nullopt);
  ASSERT_TRUE(reports.has_value());
  EXPECT_THAT(*reports, IsEmpty());
}

TEST_F(DiagnosticQueries, ListTheReportsOfOneStation) {
  given_stored(1, "a", 1);
  given_stored(2, "b", 1);
  given_stored(1, "c", 1, manual);
  EXPECT_CALL(ocpp, get_charging_station(1)).WillOnce(Return(station_with(1)));
  auto const reports = manager.get_diagnostic_reports(1U);
  ASSERT_TRUE(reports.has_value());
  EXPECT_THAT(names_of(*reports), ElementsAre("a", "c"));
}

TEST_F(DiagnosticQueries, TellAKnownStationWithoutReportsFromAnUnknownOne) {
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

TEST_F(DiagnosticQueries, ListNothingOfAnUnknownStationEvenWhenItHasReports) {
  given_stored(2, "b", 1);
  EXPECT_CALL(ocpp, get_charging_station(2)).WillOnce(Return(std::nullopt));
  EXPECT_FALSE(manager.get_diagnostic_reports(2U).has_value());
}

TEST_F(DiagnosticQueries, ListNothingWhenTheDatabaseFails) {
  given_stored(1, "a", 1);
  ON_CALL(ocpp, get_charging_station(1)).WillByDefault(Return(station_with(1)));
  faults.fail_to_execute("SELECT * FROM DiagnosticReports");
  for (auto const& station : {std::optional<unsigned int const>(), std::optional<unsigned int const>(1)}) {
    auto const reports = manager.get_diagnostic_reports(station);
    ASSERT_TRUE(reports.has_value());
    EXPECT_THAT(*reports, IsEmpty());
  }
}

// --- removal --------------------------------------------------------------------------------------------

TEST_F(DiagnosticQueries, RemoveTheChosenReportsWithFilesAndRows) {
  auto const first = given_stored(1, "a", 1);
  auto const second = given_stored(2, "b", 1);
  auto const third = given_stored(1, "c", 1, manual);
  log.clear();
  EXPECT_EQ(manager.remove_diagnostic_reports({{3, 1}}), 0U);
  EXPECT_FALSE(fs::exists(first));
  EXPECT_TRUE(fs::exists(second));
  EXPECT_FALSE(fs::exists(third));
  EXPECT_THAT(recorded_names(), ElementsAre("b"));
  EXPECT_THAT(log.lines(), IsEmpty());
}

TEST_F(DiagnosticQueries, RemoveNothingWithAnEmptyFilter) {
  given_stored(1, "a", 1);
  log.clear();
  EXPECT_EQ(manager.remove_diagnostic_reports({}), nothing_to_remove);
  EXPECT_THAT(log.lines(),
              ElementsAre(log_line{info, "[diagnostic_table] There is no diagnostic report ID to look for"},
                          log_line{warn, "[diagnostic_manager] No diagnostic found with the given filter"}));
  EXPECT_THAT(recorded_names(), ElementsAre("a"));
}

TEST_F(DiagnosticQueries, RemoveNothingWhenNoIdIsKnown) {
  given_stored(1, "a", 1);
  log.clear();
  EXPECT_EQ(manager.remove_diagnostic_reports({{2, 0, -1, -2147483647 - 1, 2147483647}}), 1U);
  EXPECT_THAT(log.lines(),
              ElementsAre(log_line{warn, "[diagnostic_manager] No diagnostic found with the given filter"}));
  EXPECT_THAT(recorded_names(), ElementsAre("a"));
}

TEST_F(DiagnosticQueries, SkipUnknownIdsAndThoseThatStandThereTwice) {
  given_stored(1, "a", 1);
  given_stored(1, "b", 1);
  log.clear();
  EXPECT_EQ(manager.remove_diagnostic_reports({{2, 99, 2, -5, 2}}), 0U);
  EXPECT_THAT(recorded_names(), ElementsAre("a"));
  EXPECT_THAT(log.lines(), IsEmpty());
}

TEST_F(DiagnosticQueries, DeleteTheRowsOfReportsWhoseFilesAreGoneAndSaySo) {
  auto const first = given_stored(1, "a", 1);
  auto const second = given_stored(1, "b", 1);
  fs::remove(first);
  fs::remove(second);
  log.clear();
  EXPECT_EQ(manager.remove_diagnostic_reports({{1, 2}}), not_all_removed);
  EXPECT_THAT(
      log.lines(),
      ElementsAre(log_line{err, "[diagnostic_manager] Error occurred while deleting diagnostic " + first},
                  log_line{err, "[diagnostic_manager] Error occurred while deleting diagnostic " + second}));
  EXPECT_THAT(recorded_names(), IsEmpty());
}

TEST_F(DiagnosticQueries, GoOnRemovingAfterAFailureAndRememberIt) {
  auto const first = given_stored(1, "a", 1);
  auto const second = given_stored(1, "b", 1);
  fs::remove(first);
  log.clear();
  EXPECT_EQ(manager.remove_diagnostic_reports({{1, 2}}), 2U);
  EXPECT_FALSE(fs::exists(second));
  EXPECT_THAT(
      log.lines(),
      ElementsAre(log_line{err, "[diagnostic_manager] Error occurred while deleting diagnostic " + first}));
  EXPECT_THAT(recorded_names(), IsEmpty());
}

TEST_F(DiagnosticQueries, RemoveTheFilesOfRowsThatCannotBeDeleted) {
  auto const first = given_stored(1, "a", 1);
  faults.fail_to_execute("DELETE FROM DiagnosticReports WHERE full_path");
  log.clear();
  EXPECT_EQ(manager.remove_diagnostic_reports({{1}}), 2U);
  EXPECT_FALSE(fs::exists(first));
  EXPECT_THAT(recorded_names(), ElementsAre("a"));
  EXPECT_THAT(
      log.lines(),
      ElementsAre(log_line{err, "[diagnostic_table] Can't delete diagnostic report for path " + first +
                                    ", error = disk I/O error"},
                  log_line{err, "[diagnostic_manager] Error occurred while deleting diagnostic " + first}));
}

TEST_F(DiagnosticQueries, RemoveEveryPlaceholderTogetherWithOne) {
  ASSERT_TRUE(table.insert_diagnostic_report(1, "never placed", periodic, 1));
  ASSERT_TRUE(table.insert_diagnostic_report(2, "nor this one", periodic, 1));
  log.clear();
  EXPECT_EQ(manager.remove_diagnostic_reports({{1}}), 2U);
  EXPECT_THAT(log.lines(), ElementsAre(log_line{
                               err, "[diagnostic_manager] Error occurred while deleting diagnostic tmp"}));
  EXPECT_THAT(recorded_names(), IsEmpty());
}

TEST_F(DiagnosticQueries, RemoveNothingWhenTheReportsCannotBeLookedUp) {
  auto const first = given_stored(1, "a", 1);
  for (auto const fault : {&faulty_database::refuse_to_prepare, &faulty_database::fail_to_execute}) {
    (faults.*fault)(" SELECT full_path FROM DiagnosticReports WHERE diagnostic_id IN(");
    EXPECT_EQ(manager.remove_diagnostic_reports({{1}}), 1U);
    faults.heal();
  }
  EXPECT_TRUE(fs::exists(first));
  EXPECT_THAT(recorded_names(), ElementsAre("a"));
}

}  // namespace
}  // namespace tavi::stations_maintenance
