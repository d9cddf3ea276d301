#include <fcntl.h>
#include <sys/resource.h>
#include <unistd.h>

#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "diagnostic_fixture.h"
#include "sanitizer.h"

namespace tavi::stations_maintenance {
namespace {

namespace fs = std::filesystem;
using spdlog::level::debug;
using spdlog::level::err;
using spdlog::level::info;
using testing::Contains;
using testing::ElementsAre;
using testing::IsEmpty;

class DiagnosticReception : public DiagnosticManagerTest {};

TEST_F(DiagnosticReception, FilesAReportUnderItsNumberAndTellsEveryStep) {
  ASSERT_TRUE(init());
  given_expected("token", 3);
  auto const uploaded = given_uploaded("diag.log", "content");
  log.clear();

  EXPECT_TRUE(manager.save_file("token", "diag.log", uploaded));

  auto const stored = in_folder("reports/station_3/periodic_reports/1_diag.log");
  EXPECT_EQ(content_of(stored), "content");
  EXPECT_FALSE(fs::exists(uploaded));
  EXPECT_FALSE(manager.is_my_token("token"));
  EXPECT_THAT(table.get_all_diagnostics_path(), ElementsAre(stored));
  auto const report = table.get_all_diagnostics().at(0);
  EXPECT_EQ(report.station_id, 3U);
  EXPECT_EQ(report.diagnostic_name, "diag.log");
  EXPECT_EQ(report.type, periodic);
  EXPECT_EQ(report.size, 7U);
  EXPECT_THAT(
      log.lines(),
      ElementsAre(
          log_line{info, "[diagnostic_manager] Trying to save file " + uploaded + ", size=7"},
          log_line{info, "[diagnostic_manager] Creating directories for the diagnostic report of station 3"},
          log_line{debug, "[diagnostic_manager] Copy file " + uploaded + " to " + stored +
                              ", code = Success  ------ full path = " + uploaded + " to " + stored},
          log_line{info, "[diagnostic_manager] File diag.log has been uploaded on " + stored},
          log_line{info, "[diagnostic_manager] Removing file " + uploaded}));
}

TEST_F(DiagnosticReception, FilesAReportAskedForOnRequestAmongTheManualOnes) {
  ASSERT_TRUE(init());
  auto const stored = given_stored(3, "m.log", 5, manual);
  EXPECT_EQ(stored, in_folder("reports/station_3/manual_reports/1_m.log"));
  EXPECT_TRUE(fs::exists(stored));
  EXPECT_EQ(table.get_all_diagnostics().at(0).type, manual);
}

TEST_F(DiagnosticReception, TakesNoFileWithoutAPath) {
  ASSERT_TRUE(init());
  given_expected("token", 3);
  log.clear();
  EXPECT_FALSE(manager.save_file("token", "diag.log", ""));
  EXPECT_THAT(
      log.lines(),
      ElementsAre(log_line{info, "[diagnostic_manager] Trying to save file , size=18446744073709551615"},
                  log_line{err, "[diagnostic_manager] Path of uploaded file is empty, can't save it"},
                  log_line{err, "[diagnostic_manager] Unknown token"}));
  EXPECT_THAT(recorded_names(), IsEmpty());
  EXPECT_TRUE(manager.is_my_token("token"));
}

TEST_F(DiagnosticReception, DiscardsTheFileOfAnUnknownTokenAndRemembersTheToken) {
  ASSERT_TRUE(init());
  for (auto const* again : {"first", "second"}) {
    auto const uploaded = given_uploaded(again, "content");
    log.clear();
    EXPECT_TRUE(manager.save_file("never handed out", again, uploaded));
    EXPECT_FALSE(fs::exists(uploaded));
    EXPECT_THAT(log.lines(), ElementsAre(log_line{info, "[diagnostic_manager] Trying to save file " +
                                                            uploaded + ", size=7"},
                                         log_line{err, "[diagnostic_manager] Unknown token"}));
    EXPECT_TRUE(manager.is_my_token("never handed out"));
  }
  EXPECT_THAT(recorded_names(), IsEmpty());
}

TEST_F(DiagnosticReception, DiscardsTheSecondFileUnderOneToken) {
  ASSERT_TRUE(init());
  given_expected("token", 3);
  ASSERT_TRUE(manager.save_file("token", "a", given_uploaded("a", "first")));
  auto const second = given_uploaded("a", "second");
  EXPECT_TRUE(manager.save_file("token", "a", second));
  EXPECT_FALSE(fs::exists(second));
  EXPECT_THAT(recorded_names(), ElementsAre("a"));
  EXPECT_TRUE(log.holds(err, "[diagnostic_manager] Unknown token"));
}

TEST_F(DiagnosticReception, ReservesStationZeroForWhatIsNotExpected) {
  ASSERT_TRUE(init());
  given_expected("token", 0);
  auto const uploaded = given_uploaded("a", "content");
  EXPECT_TRUE(manager.save_file("token", "a", uploaded));
  EXPECT_FALSE(fs::exists(uploaded));
  EXPECT_THAT(recorded_names(), IsEmpty());
}

TEST_F(DiagnosticReception, EvictsTheOldestOfTheTypeWhenTheStationIsAtItsLimit) {
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

TEST_F(DiagnosticReception, EvictsOneReportForEachUploadEvenFarAboveALoweredLimit) {
  ASSERT_TRUE(init({.max_periodic = 4}));
  for (auto const* name : {"a", "b", "c", "d"}) {
    given_stored(1, name, 1);
  }
  manager.update_max_periodic_diagnostic(1);
  given_stored(1, "e", 1);
  EXPECT_THAT(recorded_names(), ElementsAre("b", "c", "d", "e"));
}

TEST_F(DiagnosticReception, KeepsAnUploadDespiteALimitOfZero) {
  ASSERT_TRUE(init({.max_periodic = 0}));
  EXPECT_TRUE(fs::exists(given_stored(1, "a", 1)));
  EXPECT_THAT(recorded_names(), ElementsAre("a"));
}

TEST_F(DiagnosticReception, EvictsOldestReportWhenBudgetIsExactlyFull) {
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

TEST_F(DiagnosticReception, EvictsTheStationsOwnReportsBeforeOlderOnesOfOthers) {
  ASSERT_TRUE(init({.max_total_size = 100}));
  given_stored(2, "other", 40);
  given_stored(1, "own", 40, manual);
  given_stored(1, "new", 50);
  EXPECT_THAT(recorded_names(), ElementsAre("other", "new"));
}

TEST_F(DiagnosticReception, EvictsTheOldestOfEveryStationWhenTheStationHasNone) {
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

TEST_F(DiagnosticReception, GoesOnToOtherStationsWhenItsOldestFileIsMissing) {
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

TEST_F(DiagnosticReception, RefusesAnUploadThatDoesNotFitAfterEveryEviction) {
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

TEST_F(DiagnosticReception, RefusesAnUploadWhoseFileIsMissing) {
  ASSERT_TRUE(init());
  given_expected("token", 1);
  EXPECT_FALSE(manager.save_file("token", "new", in_folder("spool/nothing")));
  EXPECT_THAT(recorded_names(), IsEmpty());
}

TEST_F(DiagnosticReception, LeavesAPlaceholderRowWhenTheStationsDirectoryCannotBeMade) {
  ASSERT_TRUE(init());
  given_expected("token", 1);
  auto const uploaded = given_uploaded("new", "content");
  fs::remove(in_folder("reports"));
  EXPECT_FALSE(manager.save_file("token", "new", uploaded));
  EXPECT_THAT(table.get_all_diagnostics_path(), ElementsAre("tmp"));
  EXPECT_FALSE(fs::exists(uploaded));
  EXPECT_FALSE(manager.is_my_token("token"));
  EXPECT_TRUE(log.holds(
      err, "[diagnostic_manager] Can't create directory for saving diagnostic report for station 1"));
}

TEST_F(DiagnosticReception, SaysTheSameWhenTheNewRowsNumberCannotBeRead) {
  ASSERT_TRUE(init());
  given_expected("token", 1);
  faults.fail_to_execute("SELECT max(");
  EXPECT_FALSE(manager.save_file("token", "new", given_uploaded("new", "content")));
  EXPECT_TRUE(log.holds(
      err, "[diagnostic_manager] Can't create directory for saving diagnostic report for station 1"));
}

TEST_F(DiagnosticReception, DropsEveryPlaceholderWhenTheCopyFailsAndCountsTheUploadAsHandled) {
  ASSERT_TRUE(init());
  ASSERT_TRUE(table.insert_diagnostic_report(5, "stranded", manual, 1));
  ASSERT_TRUE(manager.create_diagnostic_directory_for_station(1));
  fs::remove(in_folder("reports/station_1/periodic_reports"));
  folder.write("tmp", "a file of that name in the current directory");
  given_expected("token", 1);
  auto const uploaded = given_uploaded("new", "content");

  EXPECT_TRUE(manager.save_file("token", "new", uploaded));

  auto const missing = in_folder("reports/station_1/periodic_reports/2_new");
  EXPECT_THAT(recorded_names(), IsEmpty());
  EXPECT_FALSE(fs::exists(uploaded));
  EXPECT_FALSE(fs::exists(in_folder("tmp")));
  EXPECT_FALSE(manager.is_my_token("token"));
  EXPECT_THAT(log.lines(), Contains(log_line{err, "[diagnostic_manager] Error : file " + uploaded +
                                                      " can't be upload on " + missing}));
  EXPECT_TRUE(log.holds(debug, "code = No such file or directory  ------ full path = "));
}

TEST_F(DiagnosticReception, RemovesTheFileWhosePathCannotBeStored) {
  ASSERT_TRUE(init());
  given_expected("token", 1);
  faults.fail_to_execute("UPDATE");
  auto const uploaded = given_uploaded("new", "content");
  EXPECT_FALSE(manager.save_file("token", "new", uploaded));
  auto const stored = in_folder("reports/station_1/periodic_reports/1_new");
  EXPECT_THAT(recorded_names(), IsEmpty());
  EXPECT_FALSE(fs::exists(stored));
  EXPECT_FALSE(fs::exists(uploaded));
  EXPECT_FALSE(manager.is_my_token("token"));
  EXPECT_THAT(log.lines(),
              Contains(log_line{err,
                                "[diagnostic_manager] Can't store new path in database. Removing "
                                "file " +
                                    stored}));
}

TEST_F(DiagnosticReception, FilesUnderTheStationsLastNumberWhenTheRowCannotBeInserted) {
  ASSERT_TRUE(init());
  auto const earlier = given_stored(1, "earlier", 3);
  given_expected("token", 1);
  faults.fail_to_execute("INSERT");
  EXPECT_TRUE(manager.save_file("token", "new", given_uploaded("new", "content")));
  auto const stored = in_folder("reports/station_1/periodic_reports/1_new");
  EXPECT_EQ(content_of(stored), "content");
  EXPECT_EQ(table.get_all_diagnostics_path(), std::vector{stored});
  // The file that the row was of waits for the check at the next start.
  EXPECT_TRUE(fs::exists(earlier));
}

TEST_F(DiagnosticReception, FilesAStationsFirstReportUnderNoNumberWhenItsRowCannotBeInserted) {
  ASSERT_TRUE(init());
  given_expected("token", 1);
  faults.fail_to_execute("INSERT");
  EXPECT_TRUE(manager.save_file("token", "new", given_uploaded("new", "content")));
  // Nobody lists it; the check at the next start removes it.
  EXPECT_EQ(content_of(in_folder("reports/station_1/periodic_reports/0_new")), "content");
  EXPECT_THAT(recorded_names(), IsEmpty());
}

/// Leaves the process exactly one free file descriptor while it lives.
class one_free_descriptor {
 public:
  one_free_descriptor() {
    getrlimit(RLIMIT_NOFILE, &previous);
    int const next = open("/dev/null", O_RDONLY | O_CLOEXEC);
    close(next);
    rlimit tight = previous;
    tight.rlim_cur = static_cast<rlim_t>(next) + 1;
    setrlimit(RLIMIT_NOFILE, &tight);
  }
  ~one_free_descriptor() { setrlimit(RLIMIT_NOFILE, &previous); }
  one_free_descriptor(one_free_descriptor const&) = delete;
  one_free_descriptor& operator=(one_free_descriptor const&) = delete;

 private:
  rlimit previous{};
};

TEST_F(DiagnosticReception, LeavesFileAndTokenWhenTheTreeCannotBeWalkedToItsEnd) {
  if (is_sanitizer_in_need_of_descriptors) {
    GTEST_SKIP() << "the sanitizer needs the descriptors that this situation lacks";
  }
  ASSERT_TRUE(init());
  given_stored(1, "a", 1);
  given_expected("token", 1);
  auto const uploaded = given_uploaded("new", "content");
  {
    one_free_descriptor const limit;
    EXPECT_THROW(manager.save_file("token", "new", uploaded), fs::filesystem_error);
  }
  EXPECT_TRUE(fs::exists(uploaded));
  EXPECT_TRUE(manager.is_my_token("token"));
  EXPECT_THAT(recorded_names(), ElementsAre("a"));
  EXPECT_TRUE(manager.save_file("token", "new", uploaded));
}

TEST_F(DiagnosticReception, NeverOverwritesAFileThatStandsUnderTheReportsName) {
  ASSERT_TRUE(init());
  ASSERT_TRUE(manager.create_diagnostic_directory_for_station(1));
  auto const stored = folder.write("reports/station_1/periodic_reports/1_new", "by hand");
  given_expected("token", 1);
  EXPECT_TRUE(manager.save_file("token", "new", given_uploaded("new", "content")));
  EXPECT_EQ(content_of(stored), "by hand");
  EXPECT_TRUE(log.holds(debug, "code = File exists  ------"));
}

}  // namespace
}  // namespace tavi::stations_maintenance
