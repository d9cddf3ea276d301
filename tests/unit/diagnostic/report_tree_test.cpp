#include "report_tree.h"

#include <functional>
#include <optional>
#include <ostream>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "diagnostic_fixture.h"
#include "flush_hook.h"

namespace tavi::stations_maintenance {
namespace {

namespace fs = std::filesystem;
using testing::ElementsAre;
using testing::IsEmpty;

class ReportTree : public DiagnosticManagerTest {
 protected:
  /// The folders that were flushed to disk while `work` went on, in their order.
  static std::vector<std::string> flushed_during(std::function<void()> const& work) {
    std::vector<std::string> flushed;
    flush_hook const hook([&](fs::path const& path) { flushed.push_back(path.string()); });
    work();
    return flushed;
  }
};

TEST_F(ReportTree, MakesItsStorageDirectoryWithAllParents) {
  EXPECT_TRUE(init({}, "a/b/reports"));
  EXPECT_TRUE(fs::is_directory(in_folder("a/b/reports")));
  EXPECT_THAT(log.lines(), IsEmpty());
}

TEST_F(ReportTree, FlushesTheNamesOfNewDirectoriesUpToTheWorkingDirectoryToDisk) {
  auto const flushed = flushed_during([&] { EXPECT_TRUE(init({}, "a/b/reports")); });
  EXPECT_THAT(flushed, ElementsAre(in_folder("a/b/reports"), in_folder("a/b"), in_folder("a"),
                                   folder.path().string()));
}

TEST_F(ReportTree, HasNothingToFlushWhereItMakesNoDirectory) {
  ASSERT_TRUE(init());
  ASSERT_TRUE(manager.create_diagnostic_directory_for_station(8));
  EXPECT_THAT(flushed_during([&] {
                EXPECT_TRUE(init());
                EXPECT_TRUE(manager.create_diagnostic_directory_for_station(8));
              }),
              IsEmpty());
}

TEST_F(ReportTree, TakesAStorageDirectoryThatExistsInTheCurrentDirectory) {
  fs::create_directory("reports");
  EXPECT_TRUE(init());
  EXPECT_TRUE(init());
}

TEST_F(ReportTree, LooksForTheStorageDirectoryInTheCurrentDirectoryOnly) {
  temporary_folder elsewhere;
  fs::create_directory(folder.path() / "reports");
  fs::current_path(elsewhere.path());
  EXPECT_FALSE(init());
  EXPECT_THAT(log.lines(), ElementsAre(log_line{spdlog::level::err,
                                                "[diagnostic_manager] Can't create directory " +
                                                    in_folder("reports") + " for diagnostic reports"}));
}

TEST_F(ReportTree, IsSatisfiedWithADirectoryInTheCurrentDirectoryAlone) {
  temporary_folder elsewhere;
  fs::create_directory(elsewhere.path() / "reports");
  fs::current_path(elsewhere.path());
  EXPECT_TRUE(init());
  EXPECT_FALSE(fs::exists(in_folder("reports")));
}

TEST_F(ReportTree, RefusesAStorageDirectoryThatCannotBeMade) {
  folder.write("file", "in the way");
  EXPECT_FALSE(init({}, "file/reports"));
  EXPECT_TRUE(log.holds(spdlog::level::err, "[diagnostic_manager] Can't create directory " +
                                                in_folder("file/reports") + " for diagnostic reports"));
}

TEST_F(ReportTree, TakesAnAbsoluteStorageDirectoryWhateverTheWorkingDirectory) {
  temporary_folder elsewhere;
  auto const root = elsewhere.path() / "reports";
  EXPECT_TRUE(init({}, root.string()));
  EXPECT_TRUE(fs::is_directory(root));
  EXPECT_EQ(manager.get_directory_path_station_name(3), (root / "station_3").string());
}

TEST_F(ReportTree, NamesAStationsDirectoryByItsNumber) {
  ASSERT_TRUE(init());
  EXPECT_EQ(manager.get_directory_path_station_name(0), in_folder("reports/station_0"));
  EXPECT_EQ(manager.get_directory_path_station_name(4294967295U), in_folder("reports/station_4294967295"));
}

TEST_F(ReportTree, EndsADirectoryOfATypeWithASlash) {
  ASSERT_TRUE(init());
  EXPECT_EQ(manager.get_specific_diagnostic_path(12, manual),
            in_folder("reports/station_12/manual_reports/"));
  EXPECT_EQ(manager.get_specific_diagnostic_path(12, periodic),
            in_folder("reports/station_12/periodic_reports/"));
  EXPECT_EQ(manager.get_specific_diagnostic_path(12, static_cast<diagnostic_report_type>(9)),
            in_folder("reports/station_12"));
}

TEST_F(ReportTree, MakesTheDirectoriesOfAStation) {
  ASSERT_TRUE(init());
  EXPECT_TRUE(manager.create_diagnostic_directory_for_station(8));
  EXPECT_TRUE(fs::is_directory(in_folder("reports/station_8/manual_reports")));
  EXPECT_TRUE(fs::is_directory(in_folder("reports/station_8/periodic_reports")));
  EXPECT_THAT(log.lines(),
              ElementsAre(log_line{
                  spdlog::level::info,
                  "[diagnostic_manager] Creating directories for the diagnostic report of station 8"}));
}

TEST_F(ReportTree, FlushesTheNamesOfAStationsDirectoriesToDisk) {
  ASSERT_TRUE(init());
  auto const flushed =
      flushed_during([&] { EXPECT_TRUE(manager.create_diagnostic_directory_for_station(8)); });
  EXPECT_THAT(flushed, ElementsAre(in_folder("reports/station_8"), in_folder("reports")));
}

TEST_F(ReportTree, LeavesAStationsDirectoryAsItIsWhenItExists) {
  ASSERT_TRUE(init());
  ASSERT_TRUE(manager.create_diagnostic_directory_for_station(8));
  fs::remove(in_folder("reports/station_8/manual_reports"));
  log.clear();
  EXPECT_TRUE(manager.create_diagnostic_directory_for_station(8));
  EXPECT_FALSE(fs::exists(in_folder("reports/station_8/manual_reports")));
  EXPECT_THAT(log.lines(), IsEmpty());
}

TEST_F(ReportTree, FailsToMakeAStationsDirectoriesWithoutTheirRoot) {
  ASSERT_TRUE(init());
  fs::remove(in_folder("reports"));
  EXPECT_FALSE(manager.create_diagnostic_directory_for_station(8));
  EXPECT_FALSE(fs::exists(in_folder("reports")));
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

// --- before the storage directory is known ---------------------------------------------------------------

}  // namespace
}  // namespace tavi::stations_maintenance
