#include "report_filing.h"

#include <stdexcept>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "diagnostic_fixture.h"
#include "flush_hook.h"

namespace tavi::stations_maintenance {
namespace {

namespace fs = std::filesystem;
using spdlog::level::debug;
using spdlog::level::err;
using testing::Contains;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::StartsWith;

class ReportFiling : public DiagnosticManagerTest {
 protected:
  void SetUp() override {
    DiagnosticManagerTest::SetUp();
    ASSERT_TRUE(init());
  }
};

TEST_F(ReportFiling, FilesAReportAskedForOnRequestAmongTheManualOnes) {
  auto const stored = given_stored(3, "m.log", 5, manual);
  EXPECT_EQ(stored, in_folder("reports/station_3/manual_reports/1_m.log"));
  EXPECT_TRUE(fs::exists(stored));
  EXPECT_EQ(table.get_all_diagnostics().at(0).type, manual);
}

TEST_F(ReportFiling, LeavesAPlaceholderRowWhenTheStationsDirectoryCannotBeMade) {
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

TEST_F(ReportFiling, SaysTheSameWhenTheNewRowsNumberCannotBeRead) {
  given_expected("token", 1);
  faults.fail_to_execute("SELECT max(");
  EXPECT_FALSE(manager.save_file("token", "new", given_uploaded("new", "content")));
  EXPECT_TRUE(log.holds(
      err, "[diagnostic_manager] Can't create directory for saving diagnostic report for station 1"));
}

TEST_F(ReportFiling, DropsEveryPlaceholderWhenTheCopyFailsAndCountsTheUploadAsHandled) {
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

TEST_F(ReportFiling, RemovesTheFileWhosePathCannotBeStored) {
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
              Contains(log_line{
                  err, "[diagnostic_manager] Can't store new path in database. Removing file " + stored}));
}

TEST_F(ReportFiling, FilesUnderTheStationsLastNumberWhenTheRowCannotBeInserted) {
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

TEST_F(ReportFiling, FilesAStationsFirstReportUnderNoNumberWhenItsRowCannotBeInserted) {
  given_expected("token", 1);
  faults.fail_to_execute("INSERT");
  EXPECT_TRUE(manager.save_file("token", "new", given_uploaded("new", "content")));
  // Nobody lists it; the check at the next start removes it.
  EXPECT_EQ(content_of(in_folder("reports/station_1/periodic_reports/0_new")), "content");
  EXPECT_THAT(recorded_names(), IsEmpty());
}

TEST_F(ReportFiling, NeverOverwritesAFileThatStandsUnderTheReportsName) {
  ASSERT_TRUE(manager.create_diagnostic_directory_for_station(1));
  auto const stored = folder.write("reports/station_1/periodic_reports/1_new", "by hand");
  given_expected("token", 1);
  EXPECT_TRUE(manager.save_file("token", "new", given_uploaded("new", "content")));
  EXPECT_EQ(content_of(stored), "by hand");
  EXPECT_TRUE(log.holds(debug, "code = File exists  ------"));
}

TEST_F(ReportFiling, FlushesFileAndDirectoryToDiskBeforeItsRowTellsThePath) {
  given_stored(1, "earlier", 3);
  given_expected("token", 1);
  auto const uploaded = given_uploaded("new", "content");
  auto const type_directory = in_folder("reports/station_1/periodic_reports");
  std::vector<std::string> flushed;
  std::vector<std::string> flushed_before_row;
  faults.before_executing("UPDATE", [&] { flushed_before_row = flushed; });
  {
    flush_hook const hook([&](fs::path const& path) { flushed.push_back(path.string()); });
    EXPECT_TRUE(manager.save_file("token", "new", uploaded));
  }
  EXPECT_THAT(flushed_before_row, Contains(StartsWith(type_directory + "/"))) << "the file, not yet named";
  EXPECT_THAT(flushed_before_row, Contains(type_directory));
}

TEST_F(ReportFiling, IsUndoneWhenItIsCutShortAfterTheCopy) {
  given_expected("token", 1);
  auto const stored = in_folder("reports/station_1/periodic_reports/1_new");
  faults.before_executing("UPDATE", [&] {
    EXPECT_TRUE(fs::exists(stored));
    throw std::runtime_error("out of memory");
  });
  EXPECT_THROW(manager.save_file("token", "new", given_uploaded("new", "content")), std::runtime_error);
  EXPECT_FALSE(fs::exists(stored));
  EXPECT_THAT(recorded_names(), IsEmpty());
}

}  // namespace
}  // namespace tavi::stations_maintenance
