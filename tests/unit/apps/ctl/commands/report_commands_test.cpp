#include <numeric>

#include "ctl_fixture.h"

namespace tavi::ctl {
namespace {

using namespace std::chrono_literals;
using stations_maintenance::delete_reports_result;
using stations_maintenance::diagnostic_report_filter;
using ::testing::_;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::InSequence;
using ::testing::IsEmpty;
using ::testing::Return;
using ::testing::SizeIs;

class ReportCommands : public ctl_test {
 protected:
  using reports = std::vector<report>;

  void expect_list(reports const& given) {
    EXPECT_CALL(handler, on_get_diagnostic_reports).WillOnce(Return(given));
  }

  /// The service has `before`, is asked to delete `ids`, answers `code` and has `after` then.
  void expect_deletion(reports const& before, std::vector<std::int32_t> const& ids,
                       delete_reports_result code, reports const& after) {
    InSequence const order;
    expect_list(before);
    EXPECT_CALL(handler, on_delete_diagnostic_reports(diagnostic_report_filter{ids})).WillOnce(Return(code));
    expect_list(after);
  }

  static reports_delete_options delete_ids(std::vector<std::uint32_t> ids) {
    return {{std::move(ids), {}, false}, false, 60s};
  }

  static reports_delete_options delete_older(std::chrono::seconds age, bool yes) {
    report_choice choice;
    choice.older = age;
    return {{{}, choice, false}, yes, 60s};
  }
};

TEST_F(ReportCommands, ListShowsThoseThatAreChosenInTheOrderWanted) {
  expect_list({report_of(1, 1, 60), report_of(2, 2, 60), report_of(3, 1, 7200), report_of(4, 1, 3600)});
  reports_list_options options;
  options.choice.stations = {1, 7};
  options.choice.newer = 3600s;
  options.order = report_order::time;
  EXPECT_EQ(run_command(context, options), exit_code::done);
  EXPECT_EQ(console.output,
            "4\t1\tmanual\t2026-11-20T12:05:09Z\t1000\tlog_4.tar.gz\n"
            "1\t1\tmanual\t2026-11-20T13:04:09Z\t1000\tlog_1.tar.gz\n");
}

TEST_F(ReportCommands, ListShowsTheFirstOfItsOrderOnly) {
  reports_list_options options;
  options.reverse = true;
  for (auto const& [limit, lines] :
       {std::pair{1U, 1}, std::pair{2U, 2}, std::pair{3U, 3}, std::pair{9U, 3}}) {
    expect_list({report_of(1, 1), report_of(2, 1), report_of(3, 1)});
    options.limit = limit;
    console.output.clear();
    EXPECT_EQ(run_command(context, options), exit_code::done);
    EXPECT_THAT(console.output, testing::StartsWith("3\t"));
    EXPECT_EQ(std::count(console.output.begin(), console.output.end(), '\n'), lines);
  }
}

TEST_F(ReportCommands, ListShowsMomentsOnATerminalWhereWanted) {
  console.layout.is_aligned = true;
  expect_list({report_of(1, 1, 60)});
  reports_list_options options;
  options.time = time_form::utc;
  EXPECT_EQ(run_command(context, options), exit_code::done);
  EXPECT_THAT(console.output, HasSubstr("2026-11-20T13:04:09Z"));
}

TEST_F(ReportCommands, ListShowsAgesOnATerminal) {
  console.layout.is_aligned = true;
  expect_list({report_of(1, 1, 60)});
  EXPECT_EQ(run_command(context, reports_list_options{}), exit_code::done);
  EXPECT_THAT(console.output, HasSubstr("AGE"));
  EXPECT_THAT(console.output, HasSubstr(" 1m "));
}

TEST_F(ReportCommands, ListWritesJsonInTheOrderWanted) {
  context.is_json = true;
  expect_list({report_of(1, 1), report_of(2, 2)});
  reports_list_options options;
  options.reverse = true;
  EXPECT_EQ(run_command(context, options), exit_code::done);
  ASSERT_EQ(document().size(), 2U);
  EXPECT_EQ(document()[0]["diagnostic_id"], 2);
  EXPECT_EQ(document()[0]["timestamp_creation"], now);
}

TEST_F(ReportCommands, ListOfOneStationAsksForItsReportsOnly) {
  EXPECT_CALL(handler, on_get_station_diagnostic_reports(7))
      .WillOnce(Return(reports{report_of(1, 7, 60), report_of(2, 7, 7200)}));
  reports_list_options options;
  options.choice.stations = {7};
  options.choice.newer = 3600s;
  EXPECT_EQ(run_command(context, options), exit_code::done);
  EXPECT_THAT(console.output, testing::EndsWith("log_1.tar.gz\n"));
  EXPECT_THAT(console.output, testing::Not(HasSubstr("log_2")));
}

TEST_F(ReportCommands, ListOfOneStationTellsAnUnknownOneFromOneWithoutReports) {
  reports_list_options options;
  options.choice.stations = {7};
  EXPECT_CALL(handler, on_get_station_diagnostic_reports(7)).WillOnce(Return(reports{}));
  EXPECT_EQ(run_command(context, options), exit_code::done);
  EXPECT_THAT(console.complaints, IsEmpty());
  options.choice.stations = {8};
  EXPECT_CALL(handler, on_get_station_diagnostic_reports(8)).WillOnce(Return(std::nullopt));
  EXPECT_EQ(run_command(context, options), exit_code::failed);
  EXPECT_EQ(console.output, "");
  EXPECT_THAT(console.complaints, ElementsAre("station 8 is not known to the site"));
}

TEST_F(ReportCommands, ListWithoutReportsSaysSoOnlyOnATerminal) {
  EXPECT_CALL(handler, on_get_diagnostic_reports).Times(2).WillRepeatedly(Return(reports{}));
  EXPECT_EQ(run_command(context, reports_list_options{}), exit_code::done);
  EXPECT_EQ(console.output, "");
  console.layout.is_aligned = true;
  EXPECT_EQ(run_command(context, reports_list_options{}), exit_code::done);
  EXPECT_EQ(console.output, "no reports\n");
}

TEST_F(ReportCommands, ListFailsWhenTheServiceCannotRead) {
  EXPECT_CALL(handler, on_get_diagnostic_reports).WillOnce(Return(std::nullopt));
  EXPECT_EQ(run_command(context, reports_list_options{}), exit_code::failed);
  EXPECT_THAT(console.complaints, SizeIs(1));
}

TEST_F(ReportCommands, ListKeepsNamesOfStationsOffTheTerminal) {
  auto hostile = report_of(1, 1);
  hostile.diagnostic_name = "\x1b]0;x\a";
  expect_list({hostile});
  EXPECT_EQ(run_command(context, reports_list_options{}), exit_code::done);
  EXPECT_THAT(console.output, HasSubstr("\\x1b]0;x\\x07\n"));
}

TEST_F(ReportCommands, FolderIsShownWithTheServicesWorkingDirectory) {
  std::string const working = "/var/lib/tavi";
  EXPECT_CALL(handler, on_get_working_directory).Times(2).WillRepeatedly(Return(working));
  EXPECT_CALL(handler, on_get_diagnostics_folder_path).Times(2).WillRepeatedly(Return("reports\n"));
  EXPECT_EQ(run_command(context, reports_folder_options{}), exit_code::done);
  EXPECT_EQ(console.output, working + "/reports\\x0a\n");
  EXPECT_THAT(console.complaints, IsEmpty());
  console.output.clear();
  context.is_json = true;
  EXPECT_EQ(run_command(context, reports_folder_options{}), exit_code::done);
  EXPECT_EQ(document(), json({{"diagnostics_folder_path", working + "/reports\n"}}));
}

TEST_F(ReportCommands, DeleteByIdsNeedsNoConfirmationWithoutATerminal) {
  expect_deletion({report_of(1, 1), report_of(2, 1), report_of(3, 1)}, {3, 1}, delete_reports_result::deleted,
                  {report_of(2, 1)});
  EXPECT_EQ(run_command(context, delete_ids({3, 1, 3})), exit_code::done);
  EXPECT_EQ(console.output, "2 of 2 reports (2.0 KiB) deleted\n");
  EXPECT_THAT(console.complaints, IsEmpty());
}

TEST_F(ReportCommands, DeleteAsksOnATerminalAndNamesTheReport) {
  console.answer = true;
  expect_deletion({report_of(1, 1)}, {1}, delete_reports_result::deleted, {});
  EXPECT_EQ(run_command(context, delete_ids({1})), exit_code::done);
  EXPECT_THAT(console.questions, ElementsAre("Delete report 1 (log_1.tar.gz of station 1, 1000 B)?"));
}

TEST_F(ReportCommands, DeleteThatIsDeclinedDeletesNothing) {
  console.answer = false;
  expect_list({report_of(1, 1)});
  EXPECT_EQ(run_command(context, delete_ids({1})), exit_code::failed);
  EXPECT_THAT(console.complaints, ElementsAre("nothing was done"));
}

TEST_F(ReportCommands, DeleteByConditionsNeedsYesWithoutATerminal) {
  expect_list({report_of(1, 1, 100)});
  EXPECT_EQ(run_command(context, delete_older(50s, false)), exit_code::usage);
  EXPECT_THAT(console.complaints, ElementsAre(HasSubstr("--yes")));
}

TEST_F(ReportCommands, DeleteByConditionsWithYesDeletesThose) {
  expect_deletion({report_of(1, 1, 100), report_of(2, 1, 10)}, {1}, delete_reports_result::deleted,
                  {report_of(2, 1, 10)});
  EXPECT_EQ(run_command(context, delete_older(50s, true)), exit_code::done);
  EXPECT_THAT(console.questions, IsEmpty());
}

TEST_F(ReportCommands, DeleteThatMatchesNothingIsDone) {
  context.is_json = true;
  expect_list({report_of(1, 1, 10)});
  EXPECT_EQ(run_command(context, delete_older(50s, false)), exit_code::done);
  EXPECT_EQ(document(), json({{"deleted", json::array()}}));
}

TEST_F(ReportCommands, DeleteNamesUnknownIdsAndDeletesTheOthers) {
  context.is_json = true;
  expect_deletion({report_of(1, 1)}, {1}, delete_reports_result::deleted, {});
  EXPECT_EQ(run_command(context, delete_ids({9, 1})), exit_code::failed);
  EXPECT_THAT(console.complaints, ElementsAre(HasSubstr("there is no report 9")));
  EXPECT_EQ(document(), json({{"deleted", {1}}}));
}

TEST_F(ReportCommands, DeleteTellsWhatCouldNotBeDeleted) {
  expect_deletion({report_of(1, 1), report_of(2, 1)}, {1, 2}, delete_reports_result::not_all_deleted,
                  {report_of(2, 1)});
  EXPECT_EQ(run_command(context, delete_ids({1, 2})), exit_code::failed);
  EXPECT_EQ(console.output, "1 of 2 reports (2.0 KiB) deleted\n");
  EXPECT_THAT(console.complaints, ElementsAre(HasSubstr("could not be deleted")));
}

TEST_F(ReportCommands, DeleteTellsThatTheReportsWereGoneBefore) {
  expect_deletion({report_of(1, 1)}, {1}, delete_reports_result::none_matched, {});
  EXPECT_EQ(run_command(context, delete_ids({1})), exit_code::failed);
  EXPECT_THAT(console.complaints, ElementsAre(HasSubstr("gone before")));
}

class DeletionInPortions : public ReportCommands {
 protected:
  DeletionInPortions() {
    for (std::uint32_t id = 1; id <= 250; ++id) {
      many.push_back(report_of(id, 1));
    }
  }

  /// A request to delete so many, from this id on.
  auto& expect_request(std::int32_t first, std::int32_t count) {
    std::vector<std::int32_t> ids(static_cast<std::size_t>(count));
    std::iota(ids.begin(), ids.end(), first);
    return EXPECT_CALL(handler, on_delete_diagnostic_reports(diagnostic_report_filter{ids}));
  }

  reports many;
  reports_delete_options const all{{{}, {}, true}, true, 60s};
};

TEST_F(DeletionInPortions, ShowsHowFarItHasCome) {
  InSequence const order;
  expect_list(many);
  expect_request(1, 100).WillOnce(Return(delete_reports_result::deleted));
  expect_request(101, 100).WillOnce(Return(delete_reports_result::deleted));
  expect_request(201, 50).WillOnce(Return(delete_reports_result::deleted));
  expect_list({});
  EXPECT_EQ(run_command(context, all), exit_code::done);
  EXPECT_THAT(console.progress,
              ElementsAre("deleting reports 1 to 100 of 250", "", "deleting reports 101 to 200 of 250", "",
                          "deleting reports 201 to 250 of 250", ""));
}

TEST_F(DeletionInPortions, GoesOnAfterOneThatFailsAndTellsItOnce) {
  InSequence const order;
  expect_list(many);
  expect_request(1, 100).WillOnce(Return(delete_reports_result::not_all_deleted));
  expect_request(101, 100).WillOnce(Return(delete_reports_result::not_all_deleted));
  expect_request(201, 50).WillOnce(Return(delete_reports_result::none_matched));
  expect_list({report_of(1, 1)});
  EXPECT_EQ(run_command(context, all), exit_code::failed);
  EXPECT_THAT(console.complaints, ElementsAre(HasSubstr("gone before"), HasSubstr("could not be deleted")));
}

TEST_F(DeletionInPortions, EndsWithThePortionUnderWayAndTellsWhatIsGone) {
  InSequence const order;
  expect_list(many);
  expect_request(1, 100).WillOnce([this](auto const&) {
    EXPECT_TRUE(clock.is_taken_over);
    clock.is_raised = true;
    return delete_reports_result::deleted;
  });
  expect_list({many.begin() + 100, many.end()});
  EXPECT_EQ(run_command(context, all), exit_code::interrupted);
  EXPECT_THAT(console.output, testing::StartsWith("100 of 250 reports"));
}

}  // namespace
}  // namespace tavi::ctl
