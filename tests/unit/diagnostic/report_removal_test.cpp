#include "report_removal.h"

#include <optional>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "diagnostic_fixture.h"
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

class ReportRemoval : public DiagnosticManagerTest {
 protected:
  void SetUp() override {
    DiagnosticManagerTest::SetUp();
    ASSERT_TRUE(init());
  }
};

// --- one report --------------------------------------------------------------------------------------------

TEST_F(ReportRemoval, RemovesAReportWithFileAndRow) {
  auto const path = given_stored(8, "a", 10);
  log.clear();
  EXPECT_TRUE(manager.remove_diagnostic(path));
  EXPECT_FALSE(fs::exists(path));
  EXPECT_THAT(recorded_names(), IsEmpty());
}

TEST_F(ReportRemoval, RemovesTheFileOfAReportBeforeItsRow) {
  auto const path = given_stored(8, "a", 10);
  auto is_file_there = true;
  faults.before_executing("DELETE FROM DiagnosticReports WHERE full_path",
                          [&] { is_file_there = fs::exists(path); });
  EXPECT_TRUE(manager.remove_diagnostic(path));
  EXPECT_FALSE(is_file_there);
}

TEST_F(ReportRemoval, DeletesTheRowOfAReportWhoseFileIsGoneButDoesNotCallItRemoved) {
  auto const path = given_stored(8, "a", 10);
  fs::remove(path);
  EXPECT_FALSE(manager.remove_diagnostic(path));
  EXPECT_THAT(recorded_names(), IsEmpty());
}

TEST_F(ReportRemoval, RemovesTheFileOfAReportWhoseRowCannotBeDeleted) {
  auto const path = given_stored(8, "a", 10);
  faults.fail_to_execute("DELETE FROM DiagnosticReports WHERE full_path");
  EXPECT_FALSE(manager.remove_diagnostic(path));
  EXPECT_FALSE(fs::exists(path));
}

// --- chosen ones -------------------------------------------------------------------------------------------

TEST_F(ReportRemoval, DeletesTheChosenReportsWithFilesAndRows) {
  auto const first = given_stored(1, "a", 1);
  auto const second = given_stored(2, "b", 1);
  auto const third = given_stored(1, "c", 1, manual);
  log.clear();
  EXPECT_EQ(manager.remove_diagnostic_reports({{3, 1}}), delete_reports_result::deleted);
  EXPECT_FALSE(fs::exists(first));
  EXPECT_TRUE(fs::exists(second));
  EXPECT_FALSE(fs::exists(third));
  EXPECT_THAT(recorded_names(), ElementsAre("b"));
  EXPECT_THAT(log.lines(), IsEmpty());
}

TEST_F(ReportRemoval, DeletesNothingWithAnEmptyFilter) {
  given_stored(1, "a", 1);
  log.clear();
  EXPECT_EQ(manager.remove_diagnostic_reports({}), delete_reports_result::none_matched);
  EXPECT_THAT(log.lines(),
              ElementsAre(log_line{info, "[diagnostic_table] There is no diagnostic report ID to look for"},
                          log_line{warn, "[diagnostic_manager] No diagnostic found with the given filter"}));
  EXPECT_THAT(recorded_names(), ElementsAre("a"));
}

TEST_F(ReportRemoval, DeletesNothingWhenNoIdIsKnown) {
  given_stored(1, "a", 1);
  log.clear();
  EXPECT_EQ(manager.remove_diagnostic_reports({{2, 0, -1, -2147483647 - 1, 2147483647}}),
            delete_reports_result::none_matched);
  EXPECT_THAT(log.lines(),
              ElementsAre(log_line{warn, "[diagnostic_manager] No diagnostic found with the given filter"}));
  EXPECT_THAT(recorded_names(), ElementsAre("a"));
}

TEST_F(ReportRemoval, SkipsUnknownIdsAndThoseThatStandThereTwice) {
  given_stored(1, "a", 1);
  given_stored(1, "b", 1);
  log.clear();
  EXPECT_EQ(manager.remove_diagnostic_reports({{2, 99, 2, -5, 2}}), delete_reports_result::deleted);
  EXPECT_THAT(recorded_names(), ElementsAre("a"));
  EXPECT_THAT(log.lines(), IsEmpty());
}

TEST_F(ReportRemoval, DeletesTheRowsOfReportsWhoseFilesAreGoneAndSaysSo) {
  auto const first = given_stored(1, "a", 1);
  auto const second = given_stored(1, "b", 1);
  fs::remove(first);
  fs::remove(second);
  log.clear();
  EXPECT_EQ(manager.remove_diagnostic_reports({{1, 2}}), delete_reports_result::not_all_deleted);
  EXPECT_THAT(
      log.lines(),
      ElementsAre(log_line{err, "[diagnostic_manager] Error occurred while deleting diagnostic " + first},
                  log_line{err, "[diagnostic_manager] Error occurred while deleting diagnostic " + second}));
  EXPECT_THAT(recorded_names(), IsEmpty());
}

TEST_F(ReportRemoval, GoesOnAfterAFailureAndRemembersIt) {
  auto const first = given_stored(1, "a", 1);
  auto const second = given_stored(1, "b", 1);
  fs::remove(first);
  log.clear();
  EXPECT_EQ(manager.remove_diagnostic_reports({{1, 2}}), delete_reports_result::not_all_deleted);
  EXPECT_FALSE(fs::exists(second));
  EXPECT_THAT(
      log.lines(),
      ElementsAre(log_line{err, "[diagnostic_manager] Error occurred while deleting diagnostic " + first}));
  EXPECT_THAT(recorded_names(), IsEmpty());
}

TEST_F(ReportRemoval, RemovesTheFilesOfRowsThatCannotBeDeleted) {
  auto const first = given_stored(1, "a", 1);
  faults.fail_to_execute("DELETE FROM DiagnosticReports WHERE full_path");
  log.clear();
  EXPECT_EQ(manager.remove_diagnostic_reports({{1}}), delete_reports_result::not_all_deleted);
  EXPECT_FALSE(fs::exists(first));
  EXPECT_THAT(recorded_names(), ElementsAre("a"));
  EXPECT_THAT(
      log.lines(),
      ElementsAre(log_line{err, "[diagnostic_table] Can't delete diagnostic report for path " + first +
                                    ", error = disk I/O error"},
                  log_line{err, "[diagnostic_manager] Error occurred while deleting diagnostic " + first}));
}

TEST_F(ReportRemoval, DeletesEveryPlaceholderTogetherWithOne) {
  ASSERT_TRUE(table.insert_diagnostic_report(1, "never placed", periodic, 1));
  ASSERT_TRUE(table.insert_diagnostic_report(2, "nor this one", periodic, 1));
  log.clear();
  EXPECT_EQ(manager.remove_diagnostic_reports({{1}}), delete_reports_result::not_all_deleted);
  EXPECT_THAT(log.lines(), ElementsAre(log_line{
                               err, "[diagnostic_manager] Error occurred while deleting diagnostic tmp"}));
  EXPECT_THAT(recorded_names(), IsEmpty());
}

TEST_F(ReportRemoval, DeletesNothingWhenTheReportsCannotBeLookedUp) {
  auto const first = given_stored(1, "a", 1);
  for (auto const fault : {&faulty_database::refuse_to_prepare, &faulty_database::fail_to_execute}) {
    (faults.*fault)(" SELECT full_path FROM DiagnosticReports WHERE diagnostic_id IN(");
    EXPECT_EQ(manager.remove_diagnostic_reports({{1}}), delete_reports_result::none_matched);
    faults.heal();
  }
  EXPECT_TRUE(fs::exists(first));
  EXPECT_THAT(recorded_names(), ElementsAre("a"));
}

// --- a station ---------------------------------------------------------------------------------------------

TEST_F(ReportRemoval, RemovesAStationWithRowsAndFiles) {
  given_stored(8, "a", 10);
  auto const kept = given_stored(9, "b", 10, manual);
  log.clear();
  EXPECT_TRUE(manager.remove_station(8));
  EXPECT_FALSE(fs::exists(in_folder("reports/station_8")));
  EXPECT_TRUE(fs::exists(kept));
  EXPECT_THAT(recorded_names(), ElementsAre("b"));
  EXPECT_THAT(log.lines(), IsEmpty());
}

TEST_F(ReportRemoval, DeletesTheRowsOfAStationBeforeItsDirectory) {
  auto const path = given_stored(8, "a", 10);
  auto is_file_there = false;
  faults.before_executing("DELETE FROM DiagnosticReports WHERE station_id",
                          [&] { is_file_there = fs::exists(path); });
  EXPECT_TRUE(manager.remove_station(8));
  EXPECT_TRUE(is_file_there);
}

TEST_F(ReportRemoval, RemovesAStationThatHasNothing) {
  EXPECT_TRUE(manager.remove_station(77));
}

TEST_F(ReportRemoval, RemovesAStationsFilesEvenWhenItsRowsCannotBeDeleted) {
  given_stored(8, "a", 10);
  faults.fail_to_execute("DELETE FROM DiagnosticReports WHERE station_id");
  EXPECT_FALSE(manager.remove_station(8));
  EXPECT_FALSE(fs::exists(in_folder("reports/station_8")));
}

}  // namespace
}  // namespace tavi::stations_maintenance
