#include "commands/upload_failures.h"
#include "ctl_fixture.h"
#include "fake_ocpp_1_6_service.h"

namespace tavi::ctl {
namespace {

using namespace std::chrono_literals;
using stations_maintenance::generation_result;
using ::testing::_;
using ::testing::DoAll;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::Return;
using ::testing::SetArgReferee;

class ReportGeneration : public ctl_test {
 protected:
  using reports = std::vector<report>;

  void expect_asking(unsigned int station, generation_result code, unsigned int request = 0,
                     report_type type = report_type::manual) {
    EXPECT_CALL(handler, on_generate_station_diagnostic_report(station, type, _))
        .WillOnce(DoAll(SetArgReferee<2>(request), Return(code)));
  }

  static reports_generate_options ask(std::vector<std::uint32_t> stations, bool wait = false) {
    auto const is_all = stations.empty();
    return {std::move(stations), is_all, report_type::manual, wait, 10s};
  }
};

TEST_F(ReportGeneration, AsksOneStation) {
  expect_asking(3, generation_result::accepted, 41);
  EXPECT_EQ(run_command(context, ask({3})), exit_code::done);
  EXPECT_EQ(console.output, "3\taccepted\t41\t-\t-\t-\n");
  EXPECT_THAT(console.complaints, IsEmpty());
}

TEST_F(ReportGeneration, AsksForTheTypeWanted) {
  expect_asking(3, generation_result::accepted, 1, report_type::periodic);
  auto options = ask({3});
  options.type = report_type::periodic;
  EXPECT_EQ(run_command(context, options), exit_code::done);
}

TEST_F(ReportGeneration, AsksAStationNamedTwiceOnce) {
  expect_asking(3, generation_result::accepted);
  expect_asking(4, generation_result::accepted);
  EXPECT_EQ(run_command(context, ask({3, 4, 3})), exit_code::done);
}

TEST_F(ReportGeneration, ExplainsEachStationThatGivesNone) {
  context.is_json = true;
  expect_asking(1, generation_result::accepted, 5);
  expect_asking(2, generation_result::unknown_station);
  expect_asking(3, generation_result::not_connected);
  expect_asking(4, generation_result::failed);
  EXPECT_EQ(run_command(context, ask({1, 2, 3, 4})), exit_code::failed);
  EXPECT_THAT(
      console.complaints,
      ElementsAre(
          HasSubstr("station 2 is not known"), HasSubstr("station 3 is not connected"),
          HasSubstr("station 4 gives no report: ocpp_1_6_service, which asks the stations, does not run")));
  EXPECT_EQ(document()[0],
            json({{"station_id", 1}, {"outcome", "accepted"}, {"request", 5}, {"report", nullptr}}));
  EXPECT_EQ(document()[1]["outcome"], "unknown_station");
  EXPECT_EQ(document()[1]["request"], nullptr);
  EXPECT_EQ(document()[2]["outcome"], "not_connected");
  EXPECT_EQ(document()[3]["outcome"], "failed");
}

TEST_F(ReportGeneration, AsksEveryStationOfTheSite) {
  fake_ocpp_1_6_service site;
  site.add({1, "CS-1", "Acme", "X7", {}, true});
  site.add({5, "CS-5", "Acme", "X7", {}, false});
  tavi::ocpp1_6::req_resp_ocpp_1_6_service_handler site_server(site);
  ASSERT_TRUE(site_server.start());
  expect_asking(1, generation_result::accepted, 1);
  expect_asking(5, generation_result::not_connected);
  EXPECT_EQ(run_command(context, ask({})), exit_code::failed);
  EXPECT_EQ(console.output, "1\taccepted\t1\t-\t-\t-\n5\tnot_connected\t-\t-\t-\t-\n");
}

TEST_F(ReportGeneration, OfASiteWithoutStationsIsDone) {
  fake_ocpp_1_6_service site;
  tavi::ocpp1_6::req_resp_ocpp_1_6_service_handler site_server(site);
  ASSERT_TRUE(site_server.start());
  EXPECT_EQ(run_command(context, ask({})), exit_code::done);
  EXPECT_EQ(console.output, "");
}

TEST_F(ReportGeneration, OfAllStationsNeedsTheServiceThatKnowsThem) {
  EXPECT_EQ(run_command(context, ask({})), exit_code::not_reachable);
  EXPECT_THAT(console.complaints, ElementsAre(HasSubstr("ocpp_1_6_service does not run")));
}

TEST_F(ReportGeneration, StopsAskingWhenTheServiceAnswersWithAnError) {
  expect_asking(1, generation_result::accepted, 8);
  EXPECT_CALL(handler, on_generate_station_diagnostic_report(2, _, _))
      .WillOnce(testing::Throw(std::runtime_error("told to fail")));
  EXPECT_EQ(run_command(context, ask({1, 2, 3})), exit_code::failed);
  EXPECT_EQ(console.output, "1\taccepted\t8\t-\t-\t-\n2\tfailed\t-\t-\t-\t-\n");
  EXPECT_THAT(console.complaints, ElementsAre(HasSubstr("asking station 2 for a report")));
}

TEST_F(ReportGeneration, KeepsWhatWasAcceptedBeforeARequestWithoutAnAnswer) {
  stations_maintenance::req_resp_stations_maintenance_service hasty(
      {generous, std::chrono::milliseconds(generous), 1s});
  command_context impatient{console, clock, uploader, hasty, true};
  gate finished;
  expect_asking(1, generation_result::accepted, 8);
  EXPECT_CALL(handler, on_generate_station_diagnostic_report(2, _, _))
      .WillOnce([&](unsigned int, report_type, unsigned int&) {
        finished.pass();
        return generation_result::accepted;
      });
  EXPECT_EQ(run_command(impatient, ask({1, 2, 3})), exit_code::time_out);
  finished.open();
  EXPECT_THAT(console.complaints, ElementsAre(HasSubstr("asking station 2 for a report: the stations")));
  EXPECT_EQ(document().size(), 2U);
  EXPECT_EQ(document()[0]["outcome"], "accepted");
  EXPECT_EQ(document()[0]["request"], 8);
  EXPECT_EQ(document()[1]["outcome"], "failed");
  EXPECT_EQ(document()[1]["request"], nullptr);
}

TEST_F(ReportGeneration, WaitsUntilEveryReportIsFiled) {
  reports const before = {report_of(1, 3)};
  auto const half = reports{report_of(1, 3), report_of(2, 4)};
  auto const all = reports{report_of(1, 3), report_of(2, 4), report_of(3, 3)};
  EXPECT_CALL(handler, on_get_diagnostic_reports)
      .WillOnce(Return(before))
      .WillOnce(Return(before))
      .WillOnce(Return(half))
      .WillOnce(Return(all));
  expect_asking(3, generation_result::accepted, 1);
  expect_asking(4, generation_result::accepted, 2);
  EXPECT_EQ(run_command(context, ask({3, 4}, true)), exit_code::done);
  EXPECT_EQ(console.output, "3\tfiled\t1\t3\t1000\tlog_3.tar.gz\n4\tfiled\t2\t2\t1000\tlog_2.tar.gz\n");
  EXPECT_EQ(clock.waits, 2);
}

TEST_F(ReportGeneration, TakesNoReportOfAnotherTypeForTheOneWaitedFor) {
  EXPECT_CALL(handler, on_get_diagnostic_reports)
      .WillOnce(Return(reports{}))
      .WillOnce(Return(reports{report_of(1, 3, 0, report_type::periodic)}))
      .WillOnce(Return(reports{report_of(1, 3, 0, report_type::periodic), report_of(2, 3)}));
  expect_asking(3, generation_result::accepted, 1);
  EXPECT_EQ(run_command(context, ask({3}, true)), exit_code::done);
  EXPECT_THAT(console.output, HasSubstr("log_2.tar.gz"));
}

TEST_F(ReportGeneration, DoesNotWaitForStationsThatGiveNone) {
  EXPECT_CALL(handler, on_get_diagnostic_reports).Times(2).WillRepeatedly(Return(reports{}));
  expect_asking(3, generation_result::not_connected);
  EXPECT_EQ(run_command(context, ask({3}, true)), exit_code::failed);
  EXPECT_EQ(clock.waits, 0);
}

TEST_F(ReportGeneration, EndsWhenTheTimeIsOver) {
  context.is_json = true;
  EXPECT_CALL(handler, on_get_diagnostic_reports)
      .WillOnce(Return(reports{}))
      .WillRepeatedly(Return(reports{report_of(9, 3)}));
  expect_asking(3, generation_result::accepted, 1);
  expect_asking(4, generation_result::accepted, 2);
  EXPECT_EQ(run_command(context, ask({3, 4}, true)), exit_code::time_out);
  EXPECT_EQ(clock.waits, 20);
  EXPECT_THAT(console.complaints, ElementsAre(HasSubstr("station 4 accepted, but")));
  EXPECT_EQ(document()[0]["outcome"], "filed");
  EXPECT_EQ(document()[0]["report"]["diagnostic_id"], 9);
  EXPECT_EQ(document()[1]["outcome"], "not_filed");
  EXPECT_EQ(document()[1]["request"], 2);
}

TEST_F(ReportGeneration, FailureOfAStationOutweighsTheTimeOfAnother) {
  EXPECT_CALL(handler, on_get_diagnostic_reports).WillRepeatedly(Return(reports{}));
  expect_asking(3, generation_result::not_connected);
  expect_asking(4, generation_result::accepted, 2);
  EXPECT_EQ(run_command(context, ask({3, 4}, true)), exit_code::failed);
  EXPECT_THAT(console.output, HasSubstr("4\tnot_filed\t2"));
}

TEST_F(ReportGeneration, WritesWhatItHasWhenInterrupted) {
  EXPECT_CALL(handler, on_get_diagnostic_reports)
      .WillOnce(Return(reports{}))
      .WillRepeatedly(Return(reports{report_of(7, 4)}));
  expect_asking(3, generation_result::accepted, 1);
  expect_asking(4, generation_result::accepted, 2);
  clock.on_wait = [this](int count) { clock.is_raised = count == 3; };
  EXPECT_EQ(run_command(context, ask({3, 4}, true)), exit_code::interrupted);
  EXPECT_TRUE(clock.is_taken_over);
  EXPECT_EQ(console.output, "3\taccepted\t1\t-\t-\t-\n4\tfiled\t2\t7\t1000\tlog_7.tar.gz\n");
  EXPECT_THAT(console.complaints, IsEmpty());
  EXPECT_THAT(console.progress, testing::Contains("waiting 1s for 1 report, at most 10s"));
  EXPECT_EQ(console.progress.back(), "");
}

TEST_F(ReportGeneration, EndsWithTheNumberOfTheSignal) {
  EXPECT_CALL(handler, on_get_diagnostic_reports).WillRepeatedly(Return(reports{}));
  expect_asking(3, generation_result::accepted, 1);
  clock.signal_number = SIGTERM;
  clock.on_wait = [this](int) { clock.is_raised = true; };
  EXPECT_EQ(run_command(context, ask({3}, true)), exit_code::terminated);
}

TEST_F(ReportGeneration, AsksNoFurtherStationWhenInterrupted) {
  EXPECT_CALL(handler, on_generate_station_diagnostic_report(3, _, _))
      .WillOnce([this](unsigned int, report_type, unsigned int& request) {
        clock.is_raised = true;
        request = 8;
        return generation_result::accepted;
      });
  EXPECT_EQ(run_command(context, ask({3, 4, 5})), exit_code::interrupted);
  EXPECT_EQ(console.output, "3\taccepted\t8\t-\t-\t-\n");
  EXPECT_THAT(console.complaints, ElementsAre("ended before the last 2 of 3 stations were asked"));
}

class ReportGenerationWithEvents : public ReportGeneration {
 protected:
  using status = stations::station_diagnostics_status;

  /// Publishes a status of stations again and again, from their being asked on: the first may come before the
  /// subscription stands.
  void publish_while_waiting(std::vector<unsigned int> const& stations, status told) {
    clock.on_wait = [this, stations, told](int) {
      for (auto const station : stations) {
        events.publish_station_status({station, true, told});
      }
      std::this_thread::yield();
    };
  }

  static reports_generate_options ask_patiently(std::vector<std::uint32_t> stations) {
    return {std::move(stations), false, report_type::manual, true, 1000h};
  }

  stations::pub_charging_stations_service events;
};

TEST_F(ReportGenerationWithEvents, TellsAFailedUploadOnceAndAsItComesAndWaitsOn) {
  ASSERT_TRUE(events.start());
  int lists_since = 0;
  EXPECT_CALL(handler, on_get_diagnostic_reports).WillRepeatedly([&]() -> std::optional<reports> {
    lists_since += console.complaints.empty() ? 0 : 1;
    return lists_since < 3 ? reports{} : reports{report_of(7, 3)};
  });
  expect_asking(3, generation_result::accepted, 1);
  publish_while_waiting({3}, status::upload_failed);
  EXPECT_EQ(run_command(context, ask_patiently({3})), exit_code::done);
  EXPECT_EQ(console.output, "3\tfiled\t1\t7\t1000\tlog_7.tar.gz\n");
  EXPECT_THAT(console.complaints,
              ElementsAre("station 3 accepted, but says that its upload has failed: it may try again"));
}

TEST_F(ReportGenerationWithEvents, ShowsInTheEndWhoseUploadFailed) {
  ASSERT_TRUE(events.start());
  EXPECT_CALL(handler, on_get_diagnostic_reports).WillRepeatedly(Return(reports{}));
  expect_asking(3, generation_result::accepted, 1);
  expect_asking(4, generation_result::accepted, 2);
  publish_while_waiting({3}, status::upload_failed);
  auto const publish = clock.on_wait;
  clock.on_wait = [&](int count) {
    publish(count);
    if (!console.complaints.empty()) {
      clock.passed = std::chrono::milliseconds(1000h);
    }
  };
  EXPECT_EQ(run_command(context, ask_patiently({3, 4})), exit_code::time_out);
  EXPECT_EQ(console.output, "3\tupload_failed\t1\t-\t-\t-\n4\tnot_filed\t2\t-\t-\t-\n");
  EXPECT_THAT(console.complaints, ElementsAre(HasSubstr("station 3 accepted, but says"),
                                              HasSubstr("station 4 accepted, but its report")));
}

TEST_F(ReportGenerationWithEvents, OfAStationLastsUntilItSaysSomethingElse) {
  ASSERT_TRUE(events.start());
  upload_failures failures;
  auto const deadline = std::chrono::steady_clock::now() + generous;
  while (!failures.has(3) && std::chrono::steady_clock::now() < deadline) {
    events.publish_station_status({3, true, status::upload_failed});
    std::this_thread::yield();
  }
  ASSERT_TRUE(failures.has(3));
  EXPECT_FALSE(failures.has(4));
  while (failures.has(3) && std::chrono::steady_clock::now() < deadline) {
    events.publish_station_status({3, true, status::uploading});
    std::this_thread::yield();
  }
  EXPECT_FALSE(failures.has(3));
}

TEST_F(ReportGenerationWithEvents, OfAStationCountsAnewOnceItIsForgotten) {
  ASSERT_TRUE(events.start());
  upload_failures failures;
  auto const deadline = std::chrono::steady_clock::now() + generous;
  for (unsigned int const station : {3U, 5U}) {
    while (!failures.has(station) && std::chrono::steady_clock::now() < deadline) {
      events.publish_station_status({station, true, status::upload_failed});
      std::this_thread::yield();
    }
  }
  // What was told of station 3 came before what was told of station 5.
  ASSERT_TRUE(failures.has(3) && failures.has(5));
  failures.forget(3);
  EXPECT_FALSE(failures.has(3));
  EXPECT_TRUE(failures.has(5));
}

}  // namespace
}  // namespace tavi::ctl
