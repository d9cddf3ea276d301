#include "report_check.h"

#include <algorithm>
#include <cstdint>
#include <optional>
#include <set>
#include <string>
#include <system_error>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "diagnostic_fixture.h"
#include "without_privileges.h"

namespace tavi::stations_maintenance {
namespace {

namespace fs = std::filesystem;
using spdlog::level::err;
using spdlog::level::info;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::Return;
using testing::UnorderedElementsAre;

log_line told_missing_file(std::string const& path) {
  return {info, "[diagnostic_manager] File " + path +
                    " stored in database but can't be found in the directory. Removing it from database."};
}

log_line told_missing_row(std::string const& path) {
  return {info,
          "[diagnostic_manager] File " + path +
              " stored in directory but can't be found in the database. Removing it from the directory."};
}

class ReportCheck : public DiagnosticManagerTest {
 protected:
  void SetUp() override {
    DiagnosticManagerTest::SetUp();
    ASSERT_TRUE(init());
    given_stations({1, 2, 3});
  }

  void given_stations(std::vector<unsigned int> const& ids) {
    std::vector<tavi::stations::charging_station> stations;
    for (auto const id : ids) {
      stations.emplace_back().id = id;
    }
    ON_CALL(ocpp, get_charging_stations()).WillByDefault(Return(stations));
  }

  /// Runs the check. @return what it logged itself
  std::vector<log_line> check() {
    log.clear();
    manager.check_sanity();
    auto lines = log.lines();
    std::erase_if(lines,
                  [](log_line const& line) { return !line.text.starts_with("[diagnostic_manager] "); });
    return lines;
  }

  /// Everything below the storage directory, by its path from there.
  [[nodiscard]] std::set<std::string> tree() const {
    std::set<std::string> names;
    for (auto const& entry : fs::recursive_directory_iterator(in_folder("reports"))) {
      names.insert(entry.path().lexically_relative(in_folder("reports")).string());
    }
    return names;
  }
};

TEST_F(ReportCheck, IsSilentWhenThereIsNothing) {
  EXPECT_THAT(check(), IsEmpty());
  fs::remove(in_folder("reports"));
  EXPECT_THAT(check(), IsEmpty());
}

TEST_F(ReportCheck, LeavesAloneWhatAgrees) {
  given_stored(1, "a", 1);
  given_stored(2, "b", 1, manual);
  auto const before = tree();
  EXPECT_THAT(check(), IsEmpty());
  EXPECT_EQ(tree(), before);
  EXPECT_THAT(recorded_names(), ElementsAre("a", "b"));
}

// --- rows without a file --------------------------------------------------------------------------------

TEST_F(ReportCheck, DeletesRowsWhoseFilesAreGone) {
  auto const first = given_stored(1, "a", 1);
  given_stored(1, "kept", 1);
  auto const second = given_stored(2, "b", 1);
  fs::remove(first);
  fs::remove(second);
  EXPECT_THAT(check(), ElementsAre(told_missing_file(first), told_missing_file(second)));
  EXPECT_THAT(recorded_names(), ElementsAre("kept"));
}

TEST_F(ReportCheck, DeletesRowsThatWereNeverPlaced) {
  ASSERT_TRUE(table.insert_diagnostic_report(1, "stranded", periodic, 1));
  ASSERT_TRUE(table.insert_diagnostic_report(2, "stranded too", manual, 1));
  // Each of the rows is told, though the first deletion takes both.
  EXPECT_THAT(check(), ElementsAre(told_missing_file("tmp"), told_missing_file("tmp")));
  EXPECT_THAT(recorded_names(), IsEmpty());
}

TEST_F(ReportCheck, TakesAFileOfThePlaceholdersNameForTheReport) {
  folder.write("tmp", "in the current directory");
  ASSERT_TRUE(table.insert_diagnostic_report(1, "stranded", periodic, 1));
  EXPECT_THAT(check(), IsEmpty());
  EXPECT_THAT(recorded_names(), ElementsAre("stranded"));
  EXPECT_TRUE(fs::exists(in_folder("tmp")));
}

TEST_F(ReportCheck, DeletesRowsWhoseFilesCannotBeLookedAt) {
  auto const file = folder.write("in_the_way", "a file, not a folder");
  ASSERT_TRUE(table.insert_diagnostic_report(1, "a", periodic, 1));
  ASSERT_TRUE(table.update_full_path_query(1, (file / "a").string()));
  ASSERT_TRUE(table.insert_diagnostic_report(1, "b", periodic, 1));
  ASSERT_TRUE(table.update_full_path_query(2, in_folder(std::string(300, 'x'))));
  EXPECT_THAT(check(), ElementsAre(told_missing_file((file / "a").string()),
                                   told_missing_file(in_folder(std::string(300, 'x')))));
  EXPECT_THAT(recorded_names(), IsEmpty());
}

TEST_F(ReportCheck, TellsARowThatCannotBeDeletedAndGoesOn) {
  auto const first = given_stored(1, "a", 1);
  auto const second = given_stored(1, "b", 1);
  fs::remove(first);
  fs::remove(second);
  auto const stray = folder.write("reports/stray", "by hand").string();
  faults.fail_to_execute("DELETE FROM DiagnosticReports WHERE full_path");
  EXPECT_THAT(
      check(),
      ElementsAre(told_missing_file(first),
                  log_line{err, "[diagnostic_manager] Can't remove file " + first + " from database."},
                  told_missing_file(second),
                  log_line{err, "[diagnostic_manager] Can't remove file " + second + " from database."},
                  told_missing_row(stray)));
  EXPECT_THAT(recorded_names(), ElementsAre("a", "b"));
}

TEST_F(ReportCheck, TellsEveryRowThatIsBackWhenTheDeletionsDoNotLast) {
  auto const first = given_stored(1, "a", 1);
  auto const second = given_stored(1, "b", 1);
  fs::remove(first);
  fs::remove(second);
  auto const stray = folder.write("reports/stray", "by hand").string();
  faults.fail_to_execute("COMMIT");
  EXPECT_THAT(
      check(),
      ElementsAre(told_missing_file(first), told_missing_file(second),
                  log_line{err, "[diagnostic_manager] Can't remove file " + first + " from database."},
                  log_line{err, "[diagnostic_manager] Can't remove file " + second + " from database."},
                  told_missing_row(stray)));
  EXPECT_THAT(recorded_names(), ElementsAre("a", "b"));
  faults.heal();
  EXPECT_THAT(check(), ElementsAre(told_missing_file(first), told_missing_file(second)));
  EXPECT_THAT(recorded_names(), IsEmpty());
}

TEST_F(ReportCheck, DeletesRowsOneByOneWhenTheyCannotBeDeletedAtOnce) {
  auto const first = given_stored(1, "a", 1);
  auto const second = given_stored(1, "b", 1);
  fs::remove(first);
  fs::remove(second);
  faults.fail_to_execute("BEGIN");
  EXPECT_THAT(check(), ElementsAre(told_missing_file(first), told_missing_file(second)));
  EXPECT_THAT(recorded_names(), IsEmpty());
}

TEST_F(ReportCheck, PreparesNoDeletionsWhenEveryRowHasItsFile) {
  given_stored(1, "a", 1);
  faults.prepared_texts.clear();
  EXPECT_THAT(check(), IsEmpty());
  EXPECT_THAT(faults.prepared_texts, IsEmpty());
}

// --- files without a row --------------------------------------------------------------------------------

TEST_F(ReportCheck, RemovesAFileThatWasPlacedByHand) {
  auto const kept = given_stored(1, "a", 1);
  auto const stray = folder.write("reports/station_1/periodic_reports/9_by_hand", "x").string();
  EXPECT_THAT(check(), ElementsAre(told_missing_row(stray)));
  EXPECT_FALSE(fs::exists(stray));
  EXPECT_TRUE(fs::exists(kept));
}

TEST_F(ReportCheck, RemovesFilesWhereverTheyLieButNoDirectory) {
  folder.write("reports/at_the_root", "x");
  folder.write("reports/station_77/manual_reports/of_an_unknown_station", "x");
  folder.write("reports/lost+found/deep/er/file", "x");
  fs::create_directories(in_folder("reports/station_1/periodic_reports"));
  EXPECT_EQ(check().size(), 3U);
  EXPECT_THAT(tree(),
              UnorderedElementsAre("station_77", "station_77/manual_reports", "lost+found", "lost+found/deep",
                                   "lost+found/deep/er", "station_1", "station_1/periodic_reports"));
}

TEST_F(ReportCheck, RemovesTheFileOfAPathThatWasStoredInAnotherForm) {
  auto const path = given_stored(1, "a", 1);
  ASSERT_TRUE(
      table.update_full_path_query(1, in_folder("reports/../reports/station_1/periodic_reports/1_a")));
  EXPECT_THAT(check(), ElementsAre(told_missing_row(path)));
  EXPECT_FALSE(fs::exists(path));
  EXPECT_THAT(recorded_names(), ElementsAre("a"));
  EXPECT_EQ(check().size(), 1U) << "the row goes with the next start";
  EXPECT_THAT(recorded_names(), IsEmpty());
}

TEST_F(ReportCheck, RemovesLinksButNothingBehindThem) {
  auto const outside = folder.write("outside/file", "content").string();
  fs::create_symlink(outside, in_folder("reports/link"));
  fs::create_directory_symlink(folder.path() / "outside", in_folder("reports/linked_directory"));
  EXPECT_THAT(check(), ElementsAre(told_missing_row(in_folder("reports/link"))));
  EXPECT_THAT(tree(), ElementsAre("linked_directory"));
  EXPECT_EQ(content_of(outside), "content");
}

TEST_F(ReportCheck, RemovesWhatCannotBeLookedAt) {
  fs::create_symlink("itself", in_folder("reports/itself"));
  EXPECT_THAT(check(), ElementsAre(told_missing_row(in_folder("reports/itself"))));
  EXPECT_THAT(tree(), IsEmpty());
}

TEST_F(ReportCheck, LooksForFilesAmongTheRowsOfItsBeginning) {
  auto const path = given_stored(1, "a", 1);
  fs::remove(path);
  fs::create_symlink("nowhere", path);
  // The link had a row when the check began, so it stays until the next one.
  EXPECT_THAT(check(), ElementsAre(told_missing_file(path)));
  EXPECT_TRUE(fs::is_symlink(path));
  EXPECT_THAT(check(), ElementsAre(told_missing_row(path)));
  EXPECT_FALSE(fs::is_symlink(path));
}

TEST_F(ReportCheck, TellsAFileThatCannotBeRemovedAndGoesOn) {
  fs::permissions(folder.path(), fs::perms{0755});
  auto const locked = folder.write("reports/locked/stray", "x").string();
  fs::permissions(in_folder("reports/locked"), fs::perms{0555});
  given_stored(9, "of an unknown station", 1);
  std::vector<log_line> lines;
  {
    without_privileges const as_somebody_else;
    lines = check();
  }
  EXPECT_TRUE(fs::exists(locked));
  EXPECT_THAT(lines,
              ElementsAre(told_missing_row(locked), log_line{err, "[diagnostic_manager] Can't remove file " +
                                                                      locked + " from directory."}));
  EXPECT_THAT(recorded_names(), IsEmpty()) << "the stations are checked all the same";
  fs::permissions(in_folder("reports/locked"), fs::perms{0755});
}

TEST_F(ReportCheck, StopsAtATreeThatCannotBeWalkedToItsEnd) {
  fs::permissions(folder.path(), fs::perms{0755});
  auto const missing = given_stored(1, "gone", 1);
  given_stored(9, "of an unknown station", 1);
  fs::remove(missing);
  auto const stray = folder.write("reports/stray", "x").string();
  fs::create_directory(in_folder("reports/closed"));
  fs::permissions(in_folder("reports/closed"), fs::perms::none);
  {
    without_privileges const as_somebody_else;
    EXPECT_THROW(manager.check_sanity(), fs::filesystem_error);
  }
  EXPECT_THAT(recorded_names(), ElementsAre("of an unknown station")) << "the rows came first";
  EXPECT_TRUE(fs::exists(stray)) << "what was not reached must not be judged";
  fs::permissions(in_folder("reports/closed"), fs::perms{0755});
}

TEST_F(ReportCheck, TakesATreeThatCannotBeOpenedForAnEmptyOne) {
  fs::permissions(folder.path(), fs::perms{0755});
  auto const stray = folder.write("reports/stray", "x").string();
  fs::permissions(in_folder("reports"), fs::perms::none);
  {
    without_privileges const as_somebody_else;
    EXPECT_THAT(check(), IsEmpty());
  }
  fs::permissions(in_folder("reports"), fs::perms{0755});
  EXPECT_TRUE(fs::exists(stray));
}

// --- unknown stations -----------------------------------------------------------------------------------

TEST_F(ReportCheck, DeletesReportsAndDirectoryOfAnUnknownStation) {
  given_stored(1, "kept", 1);
  given_stored(9, "a", 1);
  given_stored(9, "b", 1, manual);
  given_stored(8, "c", 1);
  EXPECT_CALL(ocpp, get_charging_stations());
  EXPECT_THAT(check(), IsEmpty());
  EXPECT_THAT(recorded_names(), ElementsAre("kept"));
  EXPECT_FALSE(fs::exists(in_folder("reports/station_9")));
  EXPECT_FALSE(fs::exists(in_folder("reports/station_8")));
  EXPECT_TRUE(fs::exists(in_folder("reports/station_1/periodic_reports/1_kept")));
}

TEST_F(ReportCheck, DeletesEverythingWhenThereAreNoStations) {
  given_stored(1, "a", 1);
  given_stored(2, "b", 1);
  fs::create_directories(in_folder("reports/station_4/manual_reports"));
  given_stations({});
  EXPECT_THAT(check(), IsEmpty());
  EXPECT_THAT(recorded_names(), IsEmpty());
  EXPECT_THAT(tree(), ElementsAre("station_4", "station_4/manual_reports"))
      << "a directory that no row leads to is left alone";
}

TEST_F(ReportCheck, DeletesRowsOfAnUnknownStationWithoutADirectory) {
  auto const elsewhere = folder.write("elsewhere", "x").string();
  ASSERT_TRUE(table.insert_diagnostic_report(9, "a", periodic, 1));
  ASSERT_TRUE(table.update_full_path_query(1, elsewhere));
  EXPECT_THAT(check(), IsEmpty());
  EXPECT_THAT(recorded_names(), IsEmpty());
  EXPECT_TRUE(fs::exists(elsewhere));
}

TEST_F(ReportCheck, KeepsTheDirectoryOfAStationWhoseRowsCannotBeDeleted) {
  auto const first = given_stored(8, "a", 1);
  auto const second = given_stored(8, "b", 1);
  faults.fail_to_execute("DELETE FROM DiagnosticReports WHERE station_id");
  EXPECT_THAT(check(), IsEmpty());
  EXPECT_TRUE(fs::exists(first));
  EXPECT_TRUE(fs::exists(second));
  EXPECT_THAT(recorded_names(), ElementsAre("a", "b"));
  auto const lines = log.lines();
  EXPECT_EQ(
      std::count(
          lines.begin(), lines.end(),
          log_line{
              err,
              "[diagnostic_table] Can't delete diagnostic reports of station 8, error = disk I/O error"}),
      2)
      << "it is tried at each report";
}

TEST(RemovalComplaint, IsMadeOnlyWhenThereWasNothingToRemove) {
  auto const refused = std::make_error_code(std::errc::permission_denied);
  constexpr auto failed = static_cast<std::uintmax_t>(-1);
  log_capture log;
  complain_of_removal(9, 0, {});
  complain_of_removal(9, 0, refused);
  complain_of_removal(9, 1, {});
  complain_of_removal(9, failed, refused);
  EXPECT_THAT(
      log.lines(),
      ElementsAre(log_line{err,
                           "[diagnostic_manager] Can't remove directory for non existing station 9 from "
                           "directory. Error : Success"},
                  log_line{err,
                           "[diagnostic_manager] Can't remove directory for non existing station 9 from "
                           "directory. Error : Permission denied"}));
}

TEST_F(ReportCheck, SaysNothingOfADirectoryThatCannotBeRemovedWhole) {
  fs::permissions(folder.path(), fs::perms{0755});
  auto const report = given_stored(9, "a", 1);
  given_stored(9, "b", 1);
  {
    without_privileges const as_somebody_else;
    EXPECT_THAT(check(), IsEmpty());
  }
  EXPECT_THAT(recorded_names(), IsEmpty());
  if (geteuid() == 0) {
    EXPECT_TRUE(fs::exists(report)) << "its files go with the next start";
  }
  EXPECT_EQ(check().size(), geteuid() == 0 ? 2U : 0U);
  EXPECT_FALSE(fs::exists(report));
}

TEST_F(ReportCheck, KeepsEveryFileWhenNotEveryRowCanBeRead) {
  auto const first = given_stored(1, "a", 1);
  auto const second = given_stored(2, "b", 1);
  for (bool const is_first_row_read : {false, true}) {
    if (is_first_row_read) {
      faults.break_after_first_row_of("SELECT full_path");
    } else {
      faults.fail_to_execute("SELECT full_path");
    }
    EXPECT_THAT(check(),
                ElementsAre(log_line{err,
                                     "[diagnostic_manager] Can't read which files are stored in database. No "
                                     "file is removed from the directory for want of a row."}));
    EXPECT_TRUE(fs::exists(first));
    EXPECT_TRUE(fs::exists(second));
    EXPECT_THAT(recorded_names(), ElementsAre("a", "b"));
    faults.heal();
  }
  EXPECT_THAT(check(), IsEmpty());
}

TEST_F(ReportCheck, DeletesNothingOfUnknownStationsWhenTheReportsCannotBeRead) {
  auto const report = given_stored(9, "a", 1);
  faults.fail_to_execute("SELECT * FROM DiagnosticReports");
  EXPECT_THAT(check(), IsEmpty());
  EXPECT_TRUE(fs::exists(report));
}

// --- all together ---------------------------------------------------------------------------------------

TEST_F(ReportCheck, TellsRowsBeforeFilesAndFindsNothingMoreTheSecondTime) {
  given_stored(1, "kept", 1);
  auto const missing = given_stored(2, "missing", 1);
  given_stored(9, "unknown", 1);
  auto const stray = folder.write("reports/station_9/stray", "x").string();
  fs::remove(missing);
  EXPECT_THAT(check(), ElementsAre(told_missing_file(missing), told_missing_row(stray)));
  EXPECT_THAT(recorded_names(), ElementsAre("kept"));
  EXPECT_THAT(check(), IsEmpty());
  EXPECT_THAT(tree(),
              UnorderedElementsAre("station_1", "station_1/manual_reports", "station_1/periodic_reports",
                                   "station_1/periodic_reports/1_kept", "station_2",
                                   "station_2/manual_reports", "station_2/periodic_reports"));
}

TEST_F(ReportCheck, ChecksATreeOutsideTheWorkingDirectory) {
  temporary_folder elsewhere;
  ASSERT_TRUE(init({}, elsewhere.path().string()));
  auto const kept = given_stored(1, "kept", 1);
  auto const stray = elsewhere.write("stray", "x").string();
  EXPECT_THAT(check(), ElementsAre(told_missing_row(stray)));
  EXPECT_TRUE(fs::exists(kept));
}

}  // namespace
}  // namespace tavi::stations_maintenance
