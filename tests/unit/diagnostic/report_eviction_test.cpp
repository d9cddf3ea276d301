#include "report_eviction.h"

#include <limits>
#include <optional>
#include <string>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "diagnostic_fixture.h"

namespace tavi::stations_maintenance {
namespace {

namespace fs = std::filesystem;
using spdlog::level::err;
using spdlog::level::info;
using testing::Contains;
using testing::ElementsAre;
using testing::IsEmpty;

class ReportEviction : public DiagnosticManagerTest {};

TEST_F(ReportEviction, AdmitsWhatLeavesTheTreeBelowTheBudget) {
  ASSERT_TRUE(init({.max_total_size = 100}));
  given_stored(1, "a", 60);
  log.clear();
  EXPECT_TRUE(manager.verif_size(39));
  EXPECT_THAT(log.lines(), IsEmpty());
  EXPECT_FALSE(manager.verif_size(40));
  EXPECT_THAT(
      log.lines(),
      ElementsAre(log_line{
          info, "[diagnostic_manager] size of reports is 60. max is 100 . Can't add file with size 40"}));
}

TEST_F(ReportEviction, AdmitsNothingOfUnknownSize) {
  ASSERT_TRUE(init({.max_total_size = std::numeric_limits<std::uint64_t>::max()}));
  EXPECT_FALSE(manager.verif_size(std::numeric_limits<std::uint64_t>::max()));
  given_stored(1, "a", 60);
  EXPECT_FALSE(manager.verif_size(std::numeric_limits<std::uint64_t>::max()));
}

TEST_F(ReportEviction, CountsEveryRegularFileOfTheTreeWhereverItLies) {
  ASSERT_TRUE(init({.max_total_size = 100}));
  folder.write("reports/by_hand", std::string(10, 'x'));
  folder.write("reports/station_1/deep/er/file", std::string(20, 'x'));
  EXPECT_TRUE(manager.verif_size(69));
  EXPECT_FALSE(manager.verif_size(70));
}

TEST_F(ReportEviction, CountsALinkByWhatItPointsToAndFollowsNoLinkedDirectory) {
  ASSERT_TRUE(init({.max_total_size = 100}));
  auto const outside = folder.write("outside/file", std::string(30, 'x'));
  fs::create_symlink(outside, in_folder("reports/link"));
  fs::create_symlink(in_folder("nowhere"), in_folder("reports/dangling"));
  fs::create_directory_symlink(folder.path() / "outside", in_folder("reports/linked_directory"));
  EXPECT_TRUE(manager.verif_size(69));
  EXPECT_FALSE(manager.verif_size(70));
}

TEST_F(ReportEviction, TakesAMissingTreeForAnEmptyOne) {
  ASSERT_TRUE(init({.max_total_size = 100}));
  fs::remove(in_folder("reports"));
  EXPECT_TRUE(manager.verif_size(99));
  EXPECT_FALSE(manager.verif_size(100));
}

TEST_F(ReportEviction, HasTooManyReportsOnceTheCountEqualsTheLimit) {
  ASSERT_TRUE(init({.max_periodic = 2, .max_manual = 1}));
  given_expected("periodic", 1, periodic);
  given_expected("manual", 1, manual);
  EXPECT_FALSE(manager.is_too_many_diag_for_station("periodic"));
  EXPECT_FALSE(manager.is_too_many_diag_for_station("manual"));
  given_stored(1, "a", 1, periodic);
  EXPECT_FALSE(manager.is_too_many_diag_for_station("periodic"));
  given_stored(1, "b", 1, periodic);
  EXPECT_TRUE(manager.is_too_many_diag_for_station("periodic"));
  EXPECT_FALSE(manager.is_too_many_diag_for_station("manual"));
}

TEST_F(ReportEviction, AlwaysHasTooManyWithALimitOfZero) {
  ASSERT_TRUE(init({.max_periodic = 0, .max_manual = 0}));
  given_expected("periodic", 1, periodic);
  given_expected("manual", 1, manual);
  EXPECT_TRUE(manager.is_too_many_diag_for_station("periodic"));
  EXPECT_TRUE(manager.is_too_many_diag_for_station("manual"));
}

TEST_F(ReportEviction, NeverHasTooManyOfWhatIsNoType) {
  ASSERT_TRUE(init({.max_periodic = 0, .max_manual = 0}));
  given_expected("odd", 1, static_cast<diagnostic_report_type>(5));
  EXPECT_FALSE(manager.is_too_many_diag_for_station("odd"));
}

TEST_F(ReportEviction, EvictsTheOldestReportWithFileAndRow) {
  ASSERT_TRUE(init());
  auto const first = given_stored(1, "a", 1);
  auto const second = given_stored(1, "b", 1);
  log.clear();
  EXPECT_TRUE(manager.remove_oldest_report(1, periodic));
  EXPECT_FALSE(fs::exists(first));
  EXPECT_TRUE(fs::exists(second));
  EXPECT_THAT(recorded_names(), ElementsAre("b"));
  EXPECT_THAT(log.lines(),
              ElementsAre(log_line{info, "[diagnostic_manager] Remove oldest report file at " + first}));
}

TEST_F(ReportEviction, EvictsWithinTheStationAndTypeAskedFor) {
  ASSERT_TRUE(init());
  given_stored(2, "other", 1);
  given_stored(1, "manual", 1, manual);
  given_stored(1, "periodic", 1, periodic);
  EXPECT_TRUE(manager.remove_oldest_report(1, periodic));
  EXPECT_THAT(recorded_names(), ElementsAre("other", "manual"));
  EXPECT_TRUE(manager.remove_oldest_report(1, std::nullopt));
  EXPECT_THAT(recorded_names(), ElementsAre("other"));
  EXPECT_TRUE(manager.remove_oldest_report(std::nullopt, std::nullopt));
  EXPECT_THAT(recorded_names(), IsEmpty());
}

TEST_F(ReportEviction, HasNothingToEvictWhereThereIsNoReport) {
  ASSERT_TRUE(init());
  EXPECT_FALSE(manager.remove_oldest_report(1, periodic));
  EXPECT_THAT(log.lines(),
              ElementsAre(log_line{
                  info, "[diagnostic_table] No diagnostics found for station = 1 and type = periodic"}));
}

TEST_F(ReportEviction, CountsAnEvictionAsFailedWhenTheRowCannotBeDeleted) {
  ASSERT_TRUE(init());
  auto const path = given_stored(1, "a", 1);
  faults.fail_to_execute("DELETE FROM DiagnosticReports WHERE full_path");
  EXPECT_FALSE(manager.remove_oldest_report(1, periodic));
  EXPECT_THAT(log.lines(),
              Contains(log_line{err, "[diagnostic_manager] Fail to remove oldest report file at " + path}));
}

TEST_F(ReportEviction, CountsAnEvictionAsFailedWhenTheFileWasGoneAlready) {
  ASSERT_TRUE(init());
  auto const path = given_stored(1, "a", 1);
  fs::remove(path);
  log.clear();
  EXPECT_FALSE(manager.remove_oldest_report(1, periodic));
  EXPECT_THAT(log.lines(), ElementsAre(log_line{
                               err, "[diagnostic_manager] Fail to remove oldest report file at " + path +
                                        ". Error : Success. Oldest report has been removed from database"}));
  EXPECT_THAT(recorded_names(), IsEmpty());
}

TEST_F(ReportEviction, SaysInOtherWordsWhenNeitherFileNorRowCanBeRemoved) {
  ASSERT_TRUE(init());
  auto const path = given_stored(1, "a", 1);
  fs::remove(path);
  faults.fail_to_execute("DELETE FROM DiagnosticReports WHERE full_path");
  EXPECT_FALSE(manager.remove_oldest_report(1, periodic));
  EXPECT_THAT(log.lines(),
              Contains(log_line{err, "[diagnostic_manager] Fail to remove oldest report file at " + path +
                                         ". Error Success. Can't remove file from database"}));
}

TEST_F(ReportEviction, FindsTheFileToEvictByRecordNotByStoredPath) {
  ASSERT_TRUE(init());
  auto const path = given_stored(1, "a", 1);
  ASSERT_TRUE(table.update_full_path_query(1, "/elsewhere"));
  EXPECT_TRUE(manager.remove_oldest_report(1, periodic));
  EXPECT_FALSE(fs::exists(path));
  EXPECT_THAT(recorded_names(), ElementsAre("a"));
}

// --- as much as a new report needs -------------------------------------------------------------------------

TEST_F(ReportEviction, EvictsTheOldestOfTheTypeWhenTheStationIsAtItsLimit) {
  ASSERT_TRUE(init({.max_periodic = 2}));
  auto const first = given_stored(1, "a", 1);
  given_stored(1, "manual", 1, manual);
  given_stored(2, "other", 1);
  given_stored(1, "b", 1);
  given_stored(1, "c", 1);
  EXPECT_THAT(recorded_names(), ElementsAre("manual", "other", "b", "c"));
  EXPECT_FALSE(fs::exists(first));
  EXPECT_EQ(table.count_stored_diagnostic_reports(1, periodic), 2U);
}

TEST_F(ReportEviction, EvictsWithinTheTypeEvenWhenAReportOfTheOtherIsOlder) {
  ASSERT_TRUE(init({.max_periodic = 1, .max_manual = 1}));
  given_stored(1, "manual", 1, manual);
  given_stored(1, "a", 1);
  given_stored(1, "b", 1);
  EXPECT_THAT(recorded_names(), ElementsAre("manual", "b"));
  given_stored(1, "another manual", 1, manual);
  EXPECT_THAT(recorded_names(), ElementsAre("b", "another manual"));
}

TEST_F(ReportEviction, EvictsForTheCountFirstWhichMayBeRoomEnough) {
  ASSERT_TRUE(init({.max_periodic = 1, .max_total_size = 100}));
  given_stored(1, "manual", 40, manual);
  given_stored(1, "periodic", 40);
  given_stored(1, "new", 50);
  // The manual report is the station's oldest: for want of room it would have been the first to go.
  EXPECT_THAT(recorded_names(), ElementsAre("manual", "new"));
}

TEST_F(ReportEviction, EvictsOneReportForEachUploadEvenFarAboveALoweredLimit) {
  ASSERT_TRUE(init({.max_periodic = 4}));
  for (auto const* name : {"a", "b", "c", "d"}) {
    given_stored(1, name, 1);
  }
  manager.update_max_periodic_diagnostic(1);
  given_stored(1, "e", 1);
  EXPECT_THAT(recorded_names(), ElementsAre("b", "c", "d", "e"));
}

TEST_F(ReportEviction, KeepsAnUploadDespiteALimitOfZero) {
  ASSERT_TRUE(init({.max_periodic = 0}));
  EXPECT_TRUE(fs::exists(given_stored(1, "a", 1)));
  EXPECT_THAT(recorded_names(), ElementsAre("a"));
}

TEST_F(ReportEviction, EvictsOldestReportWhenBudgetIsExactlyFull) {
  ASSERT_TRUE(init({.max_total_size = 100}));
  given_stored(1, "a", 30);
  given_stored(1, "b", 30);
  given_expected("token", 1);
  auto const uploaded = given_uploaded("c", std::string(40, 'x'));
  log.clear();
  EXPECT_TRUE(manager.save_file("token", "c", uploaded));
  EXPECT_THAT(recorded_names(), ElementsAre("b", "c"));
  EXPECT_THAT(log.lines(), Contains(log_line{info, "[diagnostic_manager] no enough space to save file " +
                                                       uploaded + ", size=40. removing one report"}));
}

TEST_F(ReportEviction, EvictsTheStationsOwnReportsBeforeOlderOnesOfOthers) {
  ASSERT_TRUE(init({.max_total_size = 100}));
  given_stored(2, "other", 40);
  given_stored(1, "own", 40, manual);
  given_stored(1, "new", 50);
  EXPECT_THAT(recorded_names(), ElementsAre("other", "new"));
}

TEST_F(ReportEviction, EvictsTheOldestOfEveryStationWhenTheStationHasNone) {
  ASSERT_TRUE(init({.max_total_size = 100}));
  given_stored(2, "oldest", 40);
  given_stored(3, "younger", 40);
  given_expected("token", 1);
  auto const uploaded = given_uploaded("new", std::string(50, 'x'));
  log.clear();
  EXPECT_TRUE(manager.save_file("token", "new", uploaded));
  EXPECT_THAT(recorded_names(), ElementsAre("younger", "new"));
  EXPECT_THAT(
      log.lines(),
      Contains(log_line{info,
                        "[diagnostic_manager] Fail to remove oldest report for station 1, trying to remove "
                        "the oldest diagnostic of every station"}));
}

TEST_F(ReportEviction, GoesOnToOtherStationsWhenItsOldestFileIsMissing) {
  ASSERT_TRUE(init({.max_total_size = 100}));
  given_stored(2, "other", 40);
  auto const missing = given_stored(1, "missing", 20);
  given_stored(1, "own", 20);
  fs::remove(missing);
  log.clear();
  given_stored(1, "new", 60);
  // The station's own next report stays: the missing file freed nothing, and then it was another's turn.
  EXPECT_TRUE(log.holds(info, "Fail to remove oldest report for station 1, trying to remove the oldest"));
  EXPECT_THAT(recorded_names(), ElementsAre("own", "new"));
}

TEST_F(ReportEviction, RefusesAnUploadThatDoesNotFitAfterEveryEviction) {
  ASSERT_TRUE(init({.max_total_size = 100}));
  folder.write("reports/by_hand", std::string(60, 'x'));
  given_expected("token", 1);
  auto const uploaded = given_uploaded("new", std::string(40, 'x'));
  log.clear();
  EXPECT_FALSE(manager.save_file("token", "new", uploaded));
  auto const lines = log.lines();
  EXPECT_THAT(recorded_names(), IsEmpty());
  EXPECT_FALSE(fs::exists(uploaded));
  EXPECT_FALSE(manager.is_my_token("token"));
  ASSERT_GE(lines.size(), 3U);
  EXPECT_EQ(lines[lines.size() - 3], (log_line{err, "[diagnostic_manager] Fail to remove oldest report"}));
  EXPECT_EQ(lines[lines.size() - 2],
            (log_line{err, "[diagnostic_manager] Can't save file new, no space remaining"}));
  EXPECT_EQ(lines[lines.size() - 1], (log_line{info, "[diagnostic_manager] Removing file " + uploaded}));
}

}  // namespace
}  // namespace tavi::stations_maintenance
