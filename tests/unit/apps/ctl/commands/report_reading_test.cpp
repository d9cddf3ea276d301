#include <sys/stat.h>

#include "commands/report_file.h"
#include "ctl_fixture.h"
#include "temporary_folder.h"
#include "without_privileges.h"

namespace tavi::ctl {
namespace {

using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::Return;

/// A service that keeps a text as report 12 of station 3.
class ReportReading : public ctl_test {
 protected:
  void SetUp() override {
    ctl_test::SetUp();
    std::filesystem::create_directories(source.parent_path());
    store.write("station_3/manual_reports/12_log_12.tar.gz", "first\nsecond\n");
    std::filesystem::permissions(source, std::filesystem::perms{0604});
  }

  void expect_report() {
    EXPECT_CALL(handler, on_get_diagnostic_reports).WillOnce(Return(std::vector{report_of(12, 3)}));
    EXPECT_CALL(handler, on_get_diagnostics_folder_path).WillOnce(Return(store.path().string()));
  }

  static std::filesystem::perms mode_of(std::filesystem::path const& file) {
    return std::filesystem::status(file).permissions();
  }

  temporary_folder store;
  std::filesystem::path source = store.path() / "station_3/manual_reports/12_log_12.tar.gz";
  temporary_folder destination;
  std::filesystem::path copy = destination.path() / "copy";
};

TEST(ReportPath, NamesStationTypeIdAndName) {
  stations_maintenance::diagnostic_report_info const report{
      37, 7, "diag.tar.gz", 0, diagnostic_report_type::periodic, 0};
  EXPECT_EQ(path_of("/reports", report), "/reports/station_7/periodic_reports/37_diag.tar.gz");
}

TEST_F(ReportReading, ShowsARecordAndTheFirstLinesOfAText) {
  expect_report();
  EXPECT_EQ(run_command(context, reports_show_options{12}), exit_code::done);
  EXPECT_EQ(console.output,
            "id\t12\nstation\t3\nname\tlog_12.tar.gz\ntype\tmanual\n"
            "received\t2026-11-20T13:05:09Z\nsize\t1000\npath\t" +
                source.string() + "\nline\tfirst\nline\tsecond\n");
}

TEST_F(ReportReading, ShowsTheFilesOfAnArchive) {
  auto const command =
      "cd '" + store.path().string() + "' && echo x > a && tar -czf '" + source.string() + "' a";
  ASSERT_EQ(std::system(command.c_str()), 0);
  expect_report();
  EXPECT_EQ(run_command(context, reports_show_options{12}), exit_code::done);
  EXPECT_THAT(console.output, HasSubstr("\nfile\t2\ta\n"));
  console.output.clear();
  console.layout.is_aligned = true;
  expect_report();
  EXPECT_EQ(run_command(context, reports_show_options{12}), exit_code::done);
  EXPECT_THAT(console.output, HasSubstr("SIZE  FILE\n 2 B  a\n"));
}

TEST_F(ReportReading, ShowsJson) {
  context.is_json = true;
  expect_report();
  EXPECT_EQ(run_command(context, reports_show_options{12}), exit_code::done);
  EXPECT_EQ(document()["diagnostic_id"], 12);
  EXPECT_EQ(document()["path"], source.string());
  EXPECT_EQ(document()["files"], nullptr);
  EXPECT_EQ(document()["first_lines"], json({"first", "second"}));
}

TEST_F(ReportReading, MakesLinesHarmless) {
  store.write("station_3/manual_reports/12_log_12.tar.gz", "\x1b[2J\n");
  expect_report();
  EXPECT_EQ(run_command(context, reports_show_options{12}), exit_code::done);
  EXPECT_THAT(console.output, HasSubstr("line\t\\x1b[2J\n"));
}

TEST_F(ReportReading, OfAnUnknownReportSaysSo) {
  EXPECT_CALL(handler, on_get_diagnostic_reports).WillOnce(Return(std::vector<report>{}));
  EXPECT_EQ(run_command(context, reports_show_options{12}), exit_code::failed);
  EXPECT_THAT(console.complaints, ElementsAre(HasSubstr("there is no report 12")));
}

TEST_F(ReportReading, OfAMissingFileNamesIt) {
  std::filesystem::remove(source);
  expect_report();
  EXPECT_EQ(run_command(context, reports_get_options{12, copy, false}), exit_code::failed);
  EXPECT_THAT(console.complaints, ElementsAre(HasSubstr(source.string() + " cannot be read (No such file")));
  EXPECT_FALSE(std::filesystem::exists(copy));
}

TEST_F(ReportReading, CopiesAReportWithItsOwnMode) {
  expect_report();
  EXPECT_EQ(run_command(context, reports_get_options{12, copy, false}), exit_code::done);
  EXPECT_EQ(console.output, "report 12 copied to " + copy.string() + '\n');
  EXPECT_EQ(content_of(copy), "first\nsecond\n");
  EXPECT_EQ(mode_of(copy), std::filesystem::perms{0640});
}

TEST_F(ReportReading, CopiesIntoAFolderUnderTheReportsName) {
  context.is_json = true;
  expect_report();
  EXPECT_EQ(run_command(context, reports_get_options{12, destination.path(), false}), exit_code::done);
  auto const expected = destination.path() / "log_12.tar.gz";
  EXPECT_EQ(content_of(expected), "first\nsecond\n");
  EXPECT_EQ(document()["destination"], expected.string());
  EXPECT_EQ(document()["report"]["diagnostic_id"], 12);
}

TEST_F(ReportReading, LeavesAFileAloneThatExists) {
  destination.write("copy", "older");
  expect_report();
  EXPECT_EQ(run_command(context, reports_get_options{12, copy, false}), exit_code::failed);
  EXPECT_THAT(console.complaints, ElementsAre(copy.string() + " exists: name another file, or say --force"));
  EXPECT_EQ(content_of(copy), "older");
}

TEST_F(ReportReading, ReplacesAFileByForce) {
  destination.write("copy", "older");
  destination.write(".copy.new", "left behind");
  expect_report();
  EXPECT_EQ(run_command(context, reports_get_options{12, copy, true}), exit_code::done);
  EXPECT_THAT(console.complaints, IsEmpty());
  EXPECT_EQ(content_of(copy), "first\nsecond\n");
  EXPECT_EQ(mode_of(copy), std::filesystem::perms{0640});
  EXPECT_FALSE(std::filesystem::exists(destination.path() / ".copy.new"));
}

TEST_F(ReportReading, LeavesNothingBehindWhereItCannotReplace) {
  std::filesystem::create_directories(copy / "in the way");
  expect_report();
  EXPECT_EQ(run_command(context, reports_get_options{12, copy / "." / "..", true}), exit_code::done);
  expect_report();
  EXPECT_EQ(run_command(context, reports_get_options{12, destination.path() / "none" / "copy", false}),
            exit_code::failed);
  EXPECT_THAT(console.complaints, ElementsAre(HasSubstr("cannot be copied to")));
}

}  // namespace
}  // namespace tavi::ctl
