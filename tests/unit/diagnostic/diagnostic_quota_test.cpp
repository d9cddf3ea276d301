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

class DiagnosticQuota : public DiagnosticManagerTest {};

TEST_F(DiagnosticQuota, AdmitsWhatLeavesTheTreeBelowTheBudget) {
  ASSERT_TRUE(init({.max_total_size = 100}));
  given_stored(1, "a", 60);
  log.clear();
  EXPECT_TRUE(manager.verif_size(39));
  EXPECT_THAT(log.lines(), IsEmpty());
  EXPECT_FALSE(manager.verif_size(40));
  EXPECT_THAT(log.lines(), ElementsAre(log_line{
                               info,
                               "[diagnostic_manager] size of reports is 60. max is 100 . Can't add file with "
                               "size 40"}));
}

TEST_F(DiagnosticQuota, AdmitsNothingOfUnknownSize) {
  ASSERT_TRUE(init({.max_total_size = std::numeric_limits<std::uint64_t>::max()}));
  EXPECT_FALSE(manager.verif_size(std::numeric_limits<std::uint64_t>::max()));
  given_stored(1, "a", 60);
  EXPECT_FALSE(manager.verif_size(std::numeric_limits<std::uint64_t>::max()));
}

TEST_F(DiagnosticQuota, CountsEveryRegularFileOfTheTreeWhereverItLies) {
  ASSERT_TRUE(init({.max_total_size = 100}));
  folder.write("reports/by_hand", std::string(10, 'x'));
  folder.write("reports/station_1/deep/er/file", std::string(20, 'x'));
  EXPECT_TRUE(manager.verif_size(69));
  EXPECT_FALSE(manager.verif_size(70));
}

TEST_F(DiagnosticQuota, CountsALinkByWhatItPointsToAndFollowsNoLinkedDirectory) {
  ASSERT_TRUE(init({.max_total_size = 100}));
  auto const outside = folder.write("outside/file", std::string(30, 'x'));
  fs::create_symlink(outside, in_folder("reports/link"));
  fs::create_symlink(in_folder("nowhere"), in_folder("reports/dangling"));
  fs::create_directory_symlink(folder.path() / "outside", in_folder("reports/linked_directory"));
  EXPECT_TRUE(manager.verif_size(69));
  EXPECT_FALSE(manager.verif_size(70));
}

TEST_F(DiagnosticQuota, TakesAMissingTreeForAnEmptyOne) {
  ASSERT_TRUE(init({.max_total_size = 100}));
  fs::remove(in_folder("reports"));
  EXPECT_TRUE(manager.verif_size(99));
  EXPECT_FALSE(manager.verif_size(100));
}

TEST_F(DiagnosticQuota, HasTooManyReportsOnceTheCountEqualsTheLimit) {
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

TEST_F(DiagnosticQuota, AlwaysHasTooManyWithALimitOfZero) {
  ASSERT_TRUE(init({.max_periodic = 0, .max_manual = 0}));
  given_expected("periodic", 1, periodic);
  given_expected("manual", 1, manual);
  EXPECT_TRUE(manager.is_too_many_diag_for_station("periodic"));
  EXPECT_TRUE(manager.is_too_many_diag_for_station("manual"));
}

TEST_F(DiagnosticQuota, NeverHasTooManyOfWhatIsNoType) {
  ASSERT_TRUE(init({.max_periodic = 0, .max_manual = 0}));
  given_expected("odd", 1, static_cast<diagnostic_report_type>(5));
  EXPECT_FALSE(manager.is_too_many_diag_for_station("odd"));
}

TEST_F(DiagnosticQuota, EvictsTheOldestReportWithFileAndRow) {
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

TEST_F(DiagnosticQuota, EvictsWithinTheStationAndTypeAskedFor) {
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

TEST_F(DiagnosticQuota, HasNothingToEvictWhereThereIsNoReport) {
  ASSERT_TRUE(init());
  EXPECT_FALSE(manager.remove_oldest_report(1, periodic));
  EXPECT_THAT(log.lines(),
              ElementsAre(log_line{info,
                                   "[diagnostic_table] No diagnostics found for station = 1 and type = "
                                   "periodic"}));
}

TEST_F(DiagnosticQuota, CountsAnEvictionAsFailedWhenTheRowCannotBeDeleted) {
  ASSERT_TRUE(init());
  auto const path = given_stored(1, "a", 1);
  faults.fail_to_execute("DELETE FROM DiagnosticReports WHERE full_path");
  EXPECT_FALSE(manager.remove_oldest_report(1, periodic));
  EXPECT_THAT(log.lines(),
              Contains(log_line{err, "[diagnostic_manager] Fail to remove oldest report file at " + path}));
}

TEST_F(DiagnosticQuota, CountsAnEvictionAsFailedWhenTheFileWasGoneAlready) {
  ASSERT_TRUE(init());
  auto const path = given_stored(1, "a", 1);
  fs::remove(path);
  log.clear();
  EXPECT_FALSE(manager.remove_oldest_report(1, periodic));
  EXPECT_THAT(log.lines(),
              ElementsAre(log_line{err, "[diagnostic_manager] Fail to remove oldest report file at " + path +
                                            ". Error : Success. Oldest report has been removed from "
                                            "database"}));
  EXPECT_THAT(recorded_names(), IsEmpty());
}

TEST_F(DiagnosticQuota, SaysInOtherWordsWhenNeitherFileNorRowCanBeRemoved) {
  ASSERT_TRUE(init());
  auto const path = given_stored(1, "a", 1);
  fs::remove(path);
  faults.fail_to_execute("DELETE FROM DiagnosticReports WHERE full_path");
  EXPECT_FALSE(manager.remove_oldest_report(1, periodic));
  EXPECT_THAT(log.lines(),
              Contains(log_line{err, "[diagnostic_manager] Fail to remove oldest report file at " + path +
                                         ". Error Success. Can't remove file from database"}));
}

TEST_F(DiagnosticQuota, FindsTheFileToEvictByRecordNotByStoredPath) {
  ASSERT_TRUE(init());
  auto const path = given_stored(1, "a", 1);
  ASSERT_TRUE(table.update_full_path_query(1, "/elsewhere"));
  EXPECT_TRUE(manager.remove_oldest_report(1, periodic));
  EXPECT_FALSE(fs::exists(path));
  EXPECT_THAT(recorded_names(), ElementsAre("a"));
}

}  // namespace
}  // namespace tavi::stations_maintenance
