#include <algorithm>
#include <numeric>

#include "ctl_fixture.h"
#include "without_privileges.h"

namespace tavi::ctl {
namespace {

using namespace std::chrono_literals;
using stations_maintenance::diagnostic_report_filter;
using ::testing::_;
using ::testing::AllOf;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::InSequence;
using ::testing::IsEmpty;
using ::testing::Return;
using ::testing::StartsWith;

class ReportExport : public ctl_test {
 protected:
  using reports = std::vector<report>;

  void expect_list(reports const& given) {
    EXPECT_CALL(handler, on_get_diagnostic_reports).WillOnce(Return(given));
  }

  /// The service is asked to pack these; its archive holds `files` then.
  void expect_packing(std::vector<std::int32_t> const& ids, unsigned int files) {
    EXPECT_CALL(handler, on_export_diagnostic_reports(diagnostic_report_filter{ids}, archive.string()))
        .WillOnce([this, files](auto const&, auto const&) {
          write_archive(files);
          return false;
        });
  }

  /// An archive of so many files, or rather the record at its end.
  void write_archive(unsigned int files) {
    std::string end("PK\x05\x06", 4);
    end.resize(22, '\0');
    end[8] = end[10] = static_cast<char>(files & 0xFFU);
    end[9] = end[11] = static_cast<char>(files >> 8U);
    folder.write("out.zip", end);
  }

  static reports reports_up_to(std::uint32_t last) {
    reports many;
    for (std::uint32_t id = 1; id <= last; ++id) {
      many.push_back(report_of(id, 1));
    }
    return many;
  }

  static std::vector<std::int32_t> ids_from(std::int32_t first, std::int32_t last) {
    std::vector<std::int32_t> ids(static_cast<std::size_t>(last - first + 1));
    std::iota(ids.begin(), ids.end(), first);
    return ids;
  }

  [[nodiscard]] reports_export_options export_ids(std::vector<std::uint32_t> ids) const {
    return {archive, {std::move(ids), {}, false}, false, 60s};
  }
  [[nodiscard]] reports_export_options append_ids(std::vector<std::uint32_t> ids) const {
    return {archive, {std::move(ids), {}, false}, true, 60s};
  }
  [[nodiscard]] reports_export_options export_all() const { return {archive, {{}, {}, true}, false, 60s}; }

  std::filesystem::path archive = folder.path() / "out.zip";
};

TEST_F(ReportExport, NamesTheArchiveByItsWholePath) {
  expect_list({report_of(1, 1), report_of(2, 1)});
  auto const whole = (std::filesystem::current_path() / "sub" / "out.zip").string();
  EXPECT_CALL(handler, on_export_diagnostic_reports(diagnostic_report_filter{{2}}, whole))
      .WillOnce(Return(false));
  auto options = export_ids({2});
  options.destination = "sub/../sub/./out.zip";
  EXPECT_EQ(run_command(context, options), exit_code::done);
  EXPECT_THAT(console.output, HasSubstr(" exported to " + whole + ";"));
}

TEST_F(ReportExport, TakesItsResultForAnErrorFlag) {
  expect_list({report_of(1, 1)});
  EXPECT_CALL(handler, on_export_diagnostic_reports).WillOnce(Return(true));
  EXPECT_EQ(run_command(context, export_ids({1})), exit_code::failed);
  EXPECT_EQ(console.output, "");
  EXPECT_THAT(console.complaints,
              ElementsAre(AllOf(HasSubstr("could not pack 1 of 1 report into " + archive.string()),
                                HasSubstr("are the reports' files still there?"))));
}

TEST_F(ReportExport, CountsTheFilesOfANewArchive) {
  expect_list({report_of(1, 1), report_of(2, 1)});
  expect_packing({1, 2}, 2);
  EXPECT_EQ(run_command(context, export_ids({1, 2})), exit_code::done);
  EXPECT_EQ(console.output, "2 reports (2.0 KiB) exported to " + archive.string() + "\n");
  EXPECT_THAT(console.complaints, IsEmpty());
}

TEST_F(ReportExport, FailsWhenAStoredFileIsMissing) {
  expect_list({report_of(1, 1), report_of(2, 1)});
  expect_packing({1, 2}, 1);
  EXPECT_EQ(run_command(context, export_ids({1, 2})), exit_code::failed);
  EXPECT_EQ(console.output, "1 of 2 reports (2.0 KiB) exported to " + archive.string() + "\n");
  EXPECT_THAT(console.complaints,
              ElementsAre(HasSubstr("not in " + archive.string() + ": 1 report; the service's log")));
}

TEST_F(ReportExport, ClaimsNoNumberWhenTheArchiveCannotBeCounted) {
  expect_list({report_of(1, 1), report_of(2, 1)});
  EXPECT_CALL(handler, on_export_diagnostic_reports).WillOnce(Return(false));
  EXPECT_EQ(run_command(context, export_ids({1, 2})), exit_code::done);
  EXPECT_EQ(console.output, "up to 2 of 2 reports (2.0 KiB) exported to " + archive.string() +
                                "; the service's log names those whose files it could not pack\n");
}

TEST_F(ReportExport, WritesJson) {
  context.is_json = true;
  expect_list({report_of(1, 1), report_of(2, 1)});
  expect_packing({1, 2}, 1);
  EXPECT_EQ(run_command(context, export_ids({1, 2})), exit_code::failed);
  EXPECT_EQ(document()["destination"], archive.string());
  EXPECT_EQ(document()["chosen"][1]["diagnostic_id"], 2);
  EXPECT_EQ(document()["packed"], 1);
}

TEST_F(ReportExport, WritesANumberThatIsNotKnownAsNullInJson) {
  context.is_json = true;
  expect_list({report_of(1, 1)});
  EXPECT_CALL(handler, on_export_diagnostic_reports).WillOnce(Return(false));
  EXPECT_EQ(run_command(context, export_ids({1})), exit_code::done);
  EXPECT_EQ(document()["packed"], nullptr);
}

TEST_F(ReportExport, AsksForAsManyReportsAtOnceAsTheServicePacksAtOnce) {
  InSequence const order;
  expect_list(reports_up_to(101));
  expect_packing(ids_from(1, 50), 50);
  expect_packing(ids_from(51, 100), 100);
  expect_packing({101}, 101);
  EXPECT_EQ(run_command(context, export_all()), exit_code::done);
  EXPECT_THAT(console.output, StartsWith("101 reports ("));
  EXPECT_THAT(console.progress,
              ElementsAre("exporting reports 1 to 50 of 101", "", "exporting reports 51 to 100 of 101", "",
                          "exporting reports 101 to 101 of 101", ""));
}

TEST_F(ReportExport, ThatIsInterruptedTellsWhatTheArchiveHolds) {
  InSequence const order;
  expect_list(reports_up_to(101));
  EXPECT_CALL(handler, on_export_diagnostic_reports(diagnostic_report_filter{ids_from(1, 50)}, _))
      .WillOnce([this](auto const&, auto const&) {
        EXPECT_TRUE(clock.is_taken_over);
        clock.is_raised = true;
        write_archive(49);
        return false;
      });
  EXPECT_EQ(run_command(context, export_all()), exit_code::interrupted);
  EXPECT_THAT(console.output, StartsWith("49 of 101 reports ("));
  EXPECT_THAT(console.complaints, ElementsAre(HasSubstr(": 1 report; the service's log"),
                                              "ended before the last 51 of 101 reports were exported"));
}

TEST_F(ReportExport, ThatIsInterruptedAtOnceWritesNothing) {
  EXPECT_CALL(handler, on_get_diagnostic_reports).WillOnce([this]() {
    clock.is_raised = true;
    return std::optional(reports_up_to(2));
  });
  EXPECT_EQ(run_command(context, export_all()), exit_code::interrupted);
  EXPECT_EQ(console.output, "");
}

TEST_F(ReportExport, OfFiftyTakesOneRequest) {
  expect_list(reports_up_to(50));
  expect_packing(ids_from(1, 50), 50);
  EXPECT_EQ(run_command(context, export_all()), exit_code::done);
}

TEST_F(ReportExport, GoesOnAfterAPortionThatCannotBePackedAndFails) {
  InSequence const order;
  expect_list(reports_up_to(120));
  expect_packing(ids_from(1, 50), 50);
  EXPECT_CALL(handler, on_export_diagnostic_reports(diagnostic_report_filter{ids_from(51, 100)}, _))
      .WillOnce(Return(true));
  expect_packing(ids_from(101, 120), 70);
  EXPECT_EQ(run_command(context, export_all()), exit_code::failed);
  EXPECT_THAT(console.output, StartsWith("70 of 120 reports ("));
  EXPECT_THAT(console.complaints, ElementsAre(HasSubstr("could not pack 50 of 120 reports into")));
}

TEST_F(ReportExport, TellsOfMissingFilesBesideAPortionThatCannotBePacked) {
  InSequence const order;
  expect_list(reports_up_to(60));
  expect_packing(ids_from(1, 50), 48);
  EXPECT_CALL(handler, on_export_diagnostic_reports).WillOnce(Return(true));
  EXPECT_EQ(run_command(context, export_all()), exit_code::failed);
  EXPECT_THAT(console.complaints,
              ElementsAre(HasSubstr("could not pack 10 of 60"), HasSubstr(": 2 reports; the service's log")));
}

TEST_F(ReportExport, EndsAtAPortionThatIsAnsweredWithAnError) {
  InSequence const order;
  expect_list(reports_up_to(51));
  expect_packing(ids_from(1, 50), 50);
  EXPECT_CALL(handler, on_export_diagnostic_reports)
      .WillOnce(testing::Throw(std::runtime_error("told to fail")));
  EXPECT_EQ(run_command(context, export_all()), exit_code::failed);
  EXPECT_EQ(console.output, "");
  EXPECT_THAT(console.complaints, ElementsAre(HasSubstr("exporting reports 51 to 51 of 51")));
}

TEST_F(ReportExport, CountsWhatAnExistingArchiveGained) {
  write_archive(5);
  expect_list({report_of(1, 1), report_of(2, 1)});
  expect_packing({1, 2}, 7);
  EXPECT_EQ(run_command(context, append_ids({1, 2})), exit_code::done);
  EXPECT_THAT(console.output, StartsWith("2 reports (2.0 KiB) exported"));
}

TEST_F(ReportExport, ClaimsNoNumberWhenAnExistingArchiveMayHaveHeldSomeOfTheReports) {
  write_archive(5);
  expect_list({report_of(1, 1), report_of(2, 1)});
  expect_packing({1, 2}, 6);
  EXPECT_EQ(run_command(context, append_ids({1, 2})), exit_code::done);
  EXPECT_THAT(console.output, StartsWith("up to 2 of 2 reports"));
}

TEST_F(ReportExport, ToAPlaceThatCannotBeSeenNeedsAppend) {
  std::filesystem::permissions(folder.path(), std::filesystem::perms(0755));
  auto const closed = folder.path() / "closed";
  std::filesystem::create_directory(closed);
  std::filesystem::permissions(closed, std::filesystem::perms(0700));
  auto options = export_ids({1});
  options.destination = closed / "out.zip";
  {
    without_privileges const as_a_stranger;
    EXPECT_EQ(run_command(context, options), exit_code::failed);
  }
  EXPECT_THAT(console.complaints,
              ElementsAre(AllOf(HasSubstr("cannot see whether"), HasSubstr("say --append"))));
  expect_list({report_of(1, 1)});
  EXPECT_CALL(handler, on_export_diagnostic_reports).WillOnce(Return(false));
  options.append = true;
  without_privileges const as_a_stranger;
  EXPECT_EQ(run_command(context, options), exit_code::done);
  EXPECT_THAT(console.output, StartsWith("up to 1 of 1 report"));
}

TEST_F(ReportExport, OfUnknownIdsGoesOnWithTheOthers) {
  expect_list({report_of(1, 1)});
  EXPECT_CALL(handler, on_export_diagnostic_reports(diagnostic_report_filter{{1}}, _))
      .WillOnce(Return(false));
  EXPECT_EQ(run_command(context, export_ids({5, 1})), exit_code::failed);
  EXPECT_THAT(console.complaints, ElementsAre(HasSubstr("there is no report 5")));
}

TEST_F(ReportExport, WithoutReportsWritesNoArchive) {
  expect_list({});
  EXPECT_EQ(run_command(context, reports_export_options{archive, {{}, {}, true}, false, 60s}),
            exit_code::failed);
  EXPECT_THAT(console.complaints, ElementsAre(HasSubstr("no archive was written")));
}

TEST_F(ReportExport, LeavesAnExistingFileAloneUnlessToldToAppend) {
  folder.write("out.zip", "PK");
  EXPECT_EQ(run_command(context, export_ids({1})), exit_code::failed);
  EXPECT_THAT(console.complaints, ElementsAre(HasSubstr("exists: --append")));
  auto options = export_ids({1});
  options.append = true;
  expect_list({report_of(1, 1)});
  EXPECT_CALL(handler, on_export_diagnostic_reports(_, archive.string())).WillOnce(Return(false));
  EXPECT_EQ(run_command(context, options), exit_code::done);
}

TEST_F(ReportExport, IntoAFolderIsRefused) {
  std::filesystem::create_directory(archive);
  auto options = export_ids({1});
  options.append = true;
  EXPECT_EQ(run_command(context, options), exit_code::failed);
  EXPECT_THAT(console.complaints, ElementsAre(HasSubstr("is no file")));
}

TEST_F(ReportExport, ThatTakesTooLongEndsWithTheTimeOut) {
  expect_list({report_of(1, 1)});
  gate finished;
  EXPECT_CALL(handler, on_export_diagnostic_reports).WillOnce([&](auto const&, auto const&) {
    return finished.pass();
  });
  auto options = export_ids({1});
  options.time_out = 1s;
  EXPECT_EQ(run_command(context, options), exit_code::time_out);
  finished.open();
  EXPECT_THAT(console.complaints, ElementsAre(HasSubstr("gave no answer in time")));
}

}  // namespace
}  // namespace tavi::ctl
