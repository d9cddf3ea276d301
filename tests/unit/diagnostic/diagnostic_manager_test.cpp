#include "diagnostic_manager.h"

#include <sys/stat.h>

#include <optional>
#include <ostream>
#include <string>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "diagnostic_fixture.h"

namespace tavi::stations_maintenance {
namespace {

namespace fs = std::filesystem;
using testing::ElementsAre;
using testing::EndsWith;
using testing::IsEmpty;

class DiagnosticManager : public DiagnosticManagerTest {};

TEST_F(DiagnosticManager, AllowsNothingBeforeItIsInitialised) {
  EXPECT_FALSE(manager.is_generation_allowed(periodic));
  EXPECT_FALSE(manager.is_generation_allowed(manual));
  EXPECT_FALSE(manager.is_my_token(""));
  EXPECT_FALSE(manager.verif_size(0));
}

TEST_F(DiagnosticManager, MakesItsStorageDirectoryWithAllParents) {
  EXPECT_TRUE(init({}, "a/b/reports"));
  EXPECT_TRUE(fs::is_directory(in_folder("a/b/reports")));
  EXPECT_THAT(log.lines(), IsEmpty());
}

TEST_F(DiagnosticManager, TakesAStorageDirectoryThatExistsInTheCurrentDirectory) {
  fs::create_directory("reports");
  EXPECT_TRUE(init());
  EXPECT_TRUE(init());
}

TEST_F(DiagnosticManager, LooksForTheStorageDirectoryInTheCurrentDirectoryOnly) {
  temporary_folder elsewhere;
  fs::create_directory(folder.path() / "reports");
  fs::current_path(elsewhere.path());
  EXPECT_FALSE(init());
  EXPECT_THAT(log.lines(), ElementsAre(log_line{spdlog::level::err,
                                                "[diagnostic_manager] Can't create directory " +
                                                    in_folder("reports") + " for diagnostic reports"}));
}

TEST_F(DiagnosticManager, IsSatisfiedWithADirectoryInTheCurrentDirectoryAlone) {
  temporary_folder elsewhere;
  fs::create_directory(elsewhere.path() / "reports");
  fs::current_path(elsewhere.path());
  EXPECT_TRUE(init());
  EXPECT_FALSE(fs::exists(in_folder("reports")));
}

TEST_F(DiagnosticManager, RefusesAStorageDirectoryThatCannotBeMade) {
  folder.write("file", "in the way");
  EXPECT_FALSE(init({}, "file/reports"));
  EXPECT_TRUE(log.holds(spdlog::level::err, "[diagnostic_manager] Can't create directory " +
                                                in_folder("file/reports") + " for diagnostic reports"));
}

TEST_F(DiagnosticManager, TakesAnAbsoluteStorageDirectoryWhateverTheWorkingDirectory) {
  temporary_folder elsewhere;
  auto const root = elsewhere.path() / "reports";
  EXPECT_TRUE(init({}, root.string()));
  EXPECT_TRUE(fs::is_directory(root));
  EXPECT_EQ(manager.get_directory_path_station_name(3), (root / "station_3").string());
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

TEST_F(DiagnosticManager, NamesAStationsDirectoryByItsNumber) {
  ASSERT_TRUE(init());
  EXPECT_EQ(manager.get_directory_path_station_name(0), in_folder("reports/station_0"));
  EXPECT_EQ(manager.get_directory_path_station_name(4294967295U), in_folder("reports/station_4294967295"));
}

TEST_F(DiagnosticManager, EndsADirectoryOfATypeWithASlash) {
  ASSERT_TRUE(init());
  EXPECT_EQ(manager.get_specific_diagnostic_path(12, manual),
            in_folder("reports/station_12/manual_reports/"));
  EXPECT_EQ(manager.get_specific_diagnostic_path(12, periodic),
            in_folder("reports/station_12/periodic_reports/"));
  EXPECT_EQ(manager.get_specific_diagnostic_path(12, static_cast<diagnostic_report_type>(9)),
            in_folder("reports/station_12"));
}

struct full_path_case {
  char const* situation;
  diagnostic_report_type type;
  std::optional<int> index;
  char const* file_name;
  char const* expected;
};

void PrintTo(full_path_case const& one, std::ostream* out) {
  *out << one.situation;
}

class FullPath : public DiagnosticManagerTest, public testing::WithParamInterface<full_path_case> {};

TEST_P(FullPath, IsMadeOfStationTypeIndexAndName) {
  ASSERT_TRUE(init());
  auto const& one = GetParam();
  EXPECT_EQ(manager.get_full_path(7, one.type, one.index, one.file_name),
            in_folder("reports/") + one.expected);
}

INSTANTIATE_TEST_SUITE_P(
    Each, FullPath,
    testing::Values(
        full_path_case{"WithIndex", periodic, 37, "diag.tar.gz", "station_7/periodic_reports/37_diag.tar.gz"},
        full_path_case{"WithoutIndex", periodic, std::nullopt, "diag.tar.gz",
                       "station_7/periodic_reports/diag.tar.gz"},
        full_path_case{"NegativeIndex", periodic, -1, "diag.tar.gz",
                       "station_7/periodic_reports/-1_diag.tar.gz"},
        full_path_case{"Manual", manual, 5, "a b.log", "station_7/manual_reports/5_a b.log"},
        full_path_case{"NameWithSlash", manual, 5, "sub/a", "station_7/manual_reports/5_sub/a"},
        full_path_case{"EmptyName", manual, 5, "", "station_7/manual_reports/5_"},
        full_path_case{"NoTypeWithIndex", static_cast<diagnostic_report_type>(4), 5, "a", "station_7/5_a"},
        full_path_case{"NoTypeGluesTheName", static_cast<diagnostic_report_type>(4), std::nullopt, "a",
                       "station_7a"}),
    [](auto const& tested) { return std::string(tested.param.situation); });

TEST_F(DiagnosticManager, MakesTheDirectoriesOfAStation) {
  ASSERT_TRUE(init());
  EXPECT_TRUE(manager.create_diagnostic_directory_for_station(8));
  EXPECT_TRUE(fs::is_directory(in_folder("reports/station_8/manual_reports")));
  EXPECT_TRUE(fs::is_directory(in_folder("reports/station_8/periodic_reports")));
  EXPECT_THAT(log.lines(),
              ElementsAre(log_line{spdlog::level::info,
                                   "[diagnostic_manager] Creating directories for the diagnostic report "
                                   "of station 8"}));
}

TEST_F(DiagnosticManager, LeavesAStationsDirectoryAsItIsWhenItExists) {
  ASSERT_TRUE(init());
  ASSERT_TRUE(manager.create_diagnostic_directory_for_station(8));
  fs::remove(in_folder("reports/station_8/manual_reports"));
  log.clear();
  EXPECT_TRUE(manager.create_diagnostic_directory_for_station(8));
  EXPECT_FALSE(fs::exists(in_folder("reports/station_8/manual_reports")));
  EXPECT_THAT(log.lines(), IsEmpty());
}

TEST_F(DiagnosticManager, FailsToMakeAStationsDirectoriesWithoutTheirRoot) {
  ASSERT_TRUE(init());
  fs::remove(in_folder("reports"));
  EXPECT_FALSE(manager.create_diagnostic_directory_for_station(8));
  EXPECT_FALSE(fs::exists(in_folder("reports")));
}

TEST_F(DiagnosticManager, RemovesAStationWithRowsAndFiles) {
  ASSERT_TRUE(init());
  given_stored(8, "a", 10);
  auto const kept = given_stored(9, "b", 10, manual);
  log.clear();
  EXPECT_TRUE(manager.remove_station(8));
  EXPECT_FALSE(fs::exists(in_folder("reports/station_8")));
  EXPECT_TRUE(fs::exists(kept));
  EXPECT_THAT(recorded_names(), ElementsAre("b"));
  EXPECT_THAT(log.lines(), IsEmpty());
}

TEST_F(DiagnosticManager, RemovesAStationThatHasNothing) {
  ASSERT_TRUE(init());
  EXPECT_TRUE(manager.remove_station(77));
}

TEST_F(DiagnosticManager, RemovesAStationsFilesEvenWhenItsRowsCannotBeDeleted) {
  ASSERT_TRUE(init());
  given_stored(8, "a", 10);
  faults.fail_to_execute("DELETE FROM DiagnosticReports WHERE station_id");
  EXPECT_FALSE(manager.remove_station(8));
  EXPECT_FALSE(fs::exists(in_folder("reports/station_8")));
}

// --- before the storage directory is known ---------------------------------------------------------------

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
  EXPECT_TRUE(log.holds(spdlog::level::err, "[diagnostic_manager] Unknown token"));
  EXPECT_FALSE(fs::exists(uploaded));
  EXPECT_TRUE(fs::exists(bystander));
}

// --- one report ------------------------------------------------------------------------------------------

TEST_F(DiagnosticManager, RemovesAReportWithFileAndRow) {
  ASSERT_TRUE(init());
  auto const path = given_stored(8, "a", 10);
  log.clear();
  EXPECT_TRUE(manager.remove_diagnostic(path));
  EXPECT_FALSE(fs::exists(path));
  EXPECT_THAT(recorded_names(), IsEmpty());
}

TEST_F(DiagnosticManager, DeletesTheRowOfAReportWhoseFileIsGoneButDoesNotCallItRemoved) {
  ASSERT_TRUE(init());
  auto const path = given_stored(8, "a", 10);
  fs::remove(path);
  EXPECT_FALSE(manager.remove_diagnostic(path));
  EXPECT_THAT(recorded_names(), IsEmpty());
}

TEST_F(DiagnosticManager, RemovesTheFileOfAReportWhoseRowCannotBeDeleted) {
  ASSERT_TRUE(init());
  auto const path = given_stored(8, "a", 10);
  faults.fail_to_execute("DELETE FROM DiagnosticReports WHERE full_path");
  EXPECT_FALSE(manager.remove_diagnostic(path));
  EXPECT_FALSE(fs::exists(path));
}

TEST_F(DiagnosticManager, KnowsATokenExactlyAsItWasHandedOut) {
  ASSERT_TRUE(init());
  given_expected("Token", 8);
  EXPECT_TRUE(manager.is_my_token("Token"));
  EXPECT_FALSE(manager.is_my_token("token"));
  EXPECT_FALSE(manager.is_my_token("Token "));
  EXPECT_FALSE(manager.is_my_token(""));
}

TEST(ExpectedReportType, IsAllZeroWhenMadeAnew) {
  expected_report_type const fresh{};
  EXPECT_EQ(fresh.station_id, 0U);
  EXPECT_EQ(fresh.type, periodic);
}

}  // namespace
}  // namespace tavi::stations_maintenance
