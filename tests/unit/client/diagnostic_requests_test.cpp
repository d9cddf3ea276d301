#include <limits>

#include "client_fixture.h"
#include "sanitizer.h"

namespace tavi::stations_maintenance {
namespace {

using mura_common::call_failure;
using spdlog::level::warn;
using testing::DoAll;
using testing::Return;
using testing::SetArgReferee;

constexpr auto lowest = std::numeric_limits<std::int32_t>::min();
constexpr auto highest = std::numeric_limits<std::int32_t>::max();

std::vector<diagnostic_report_info> awkward_reports() {
  return {
      {},
      {4294967295U, 4294967295U, awkward_text, std::numeric_limits<std::int64_t>::max(),
       diagnostic_report_type::manual, 4294967295U},
      {1, 7, "", std::numeric_limits<std::int64_t>::min(), diagnostic_report_type::periodic, 0},
      {2, 7, "log.zip", 0, static_cast<diagnostic_report_type>(lowest), 1},
  };
}

/// As many ids as told, each of the longest form.
diagnostic_report_filter longest_filter(std::size_t count) {
  return {std::vector<std::int32_t>(count, lowest)};
}

class DiagnosticRequests : public RequestsTest {};

TEST_F(DiagnosticRequests, BringEveryFieldOfEveryReport) {
  EXPECT_CALL(handler, on_get_diagnostic_reports()).WillOnce(Return(awkward_reports()));
  EXPECT_EQ(client.get_diagnostic_reports().value, awkward_reports());
}

TEST_F(DiagnosticRequests, BringTheReportsOfAStation) {
  EXPECT_CALL(handler, on_get_station_diagnostic_reports(4294967295U)).WillOnce(Return(awkward_reports()));
  EXPECT_EQ(client.get_station_diagnostic_reports(4294967295U).value, awkward_reports());
}

TEST_F(DiagnosticRequests, TellAReportWhoseTypeIsNotFilled) {
  EXPECT_CALL(handler, on_get_diagnostic_reports()).WillOnce(Return(std::vector<diagnostic_report_info>{{}}));
  EXPECT_EQ(static_cast<std::int32_t>(client.get_diagnostic_reports().value.value().value().at(0).type), -1);
}

TEST_F(DiagnosticRequests, TellAnEmptyListFromAnAbsentOne) {
  std::vector<diagnostic_report_info> const none;
  EXPECT_CALL(handler, on_get_diagnostic_reports()).WillOnce(Return(none)).WillOnce(Return(std::nullopt));
  EXPECT_CALL(handler, on_get_station_diagnostic_reports(7))
      .WillOnce(Return(none))
      .WillOnce(Return(std::nullopt));
  EXPECT_EQ(client.get_diagnostic_reports().value.value(), none);
  EXPECT_EQ(client.get_diagnostic_reports().value.value(), std::nullopt);
  EXPECT_EQ(client.get_station_diagnostic_reports(7).value.value(), none);
  EXPECT_EQ(client.get_station_diagnostic_reports(7).value.value(), std::nullopt);
}

TEST_F(DiagnosticRequests, BringAHundredThousandReportsInOneReply) {
  std::vector<diagnostic_report_info> many(
      is_slowed_by_sanitizer ? 10'000 : 100'000,
      {0, 4294967295U, "diagnostics.zip", 1'800'000'000, diagnostic_report_type::periodic, 4294967295U});
  std::uint32_t id = 0;
  for (auto& report : many) {
    report.diagnostic_id = id++;
  }
  EXPECT_CALL(handler, on_get_diagnostic_reports()).WillOnce([&] { return many; });
  constexpr std::chrono::minutes of_a_loaded_machine(5);
  req_resp_stations_maintenance_service patient({generous, of_a_loaded_machine, generous});
  auto const answer = patient.get_diagnostic_reports();
  ASSERT_TRUE(answer.value.has_value() && answer.value->has_value());
  EXPECT_TRUE(**answer.value == many);
}

TEST_F(DiagnosticRequests, DeleteTheReportsOfAFilterInItsOrder) {
  diagnostic_report_filter const filter{{3, 1, 1, -1, lowest, highest}};
  for (auto const code : every<delete_reports_result>({0U, 1U, 2U, 4294967295U})) {
    EXPECT_CALL(handler, on_delete_diagnostic_reports(filter)).WillOnce(Return(code));
    EXPECT_EQ(client.delete_diagnostic_reports(filter).value, code);
  }
}

TEST_F(DiagnosticRequests, PassAnEmptyFilterOn) {
  EXPECT_CALL(handler, on_delete_diagnostic_reports(diagnostic_report_filter{}))
      .WillOnce(Return(delete_reports_result::none_matched));
  EXPECT_EQ(client.delete_diagnostic_reports({}).value, delete_reports_result::none_matched);
}

TEST_F(DiagnosticRequests, TakeAFilterOfEightySevenThousandIds) {
  EXPECT_CALL(handler, on_delete_diagnostic_reports(longest_filter(87'000)))
      .WillOnce(Return(delete_reports_result::deleted));
  EXPECT_EQ(client.delete_diagnostic_reports(longest_filter(87'000)).value, delete_reports_result::deleted);
}

TEST_F(DiagnosticRequests, RefuseAFilterThatIsTooLargeBeforeItIsSent) {
  auto const answer = client.delete_diagnostic_reports(longest_filter(100'000));
  EXPECT_EQ(answer.value, std::nullopt);
  EXPECT_EQ(answer.failure, call_failure::refused);
  EXPECT_TRUE(log.holds(warn, "1048576"));
}

TEST_F(DiagnosticRequests, BringTheFlagOfAFailedExportAsItIs) {
  diagnostic_report_filter const filter{{5, 4}};
  EXPECT_CALL(handler, on_export_diagnostic_reports(filter, awkward_text))
      .WillOnce(Return(true))
      .WillOnce(Return(false));
  EXPECT_EQ(client.export_diagnostic_reports(filter, awkward_text).value, true);
  EXPECT_EQ(client.export_diagnostic_reports(filter, awkward_text).value, false);
}

TEST_F(DiagnosticRequests, AskAStationForAReportAndBringTheRequestsNumberBack) {
  EXPECT_CALL(handler,
              on_generate_station_diagnostic_report(7, diagnostic_report_type::manual, testing::Eq(0U)))
      .WillOnce(DoAll(SetArgReferee<2>(4294967295U), Return(generation_result::accepted)));
  unsigned int request = 17;
  EXPECT_EQ(client.generate_station_diagnostic_report(7, diagnostic_report_type::manual, request).value,
            generation_result::accepted);
  EXPECT_EQ(request, 4294967295U);
}

TEST_F(DiagnosticRequests, BringEveryCodeOfAGeneration) {
  unsigned int request = 0;
  for (auto const code : every<generation_result>({1U, 2U, 4294967295U})) {
    EXPECT_CALL(handler, on_generate_station_diagnostic_report).WillOnce(Return(code));
    auto const answer =
        client.generate_station_diagnostic_report(7, diagnostic_report_type::periodic, request);
    EXPECT_EQ(answer.value, code);
    EXPECT_EQ(answer.failure, call_failure::none);
  }
}

TEST_F(DiagnosticRequests, PassATypeOnThatIsNone) {
  auto const no_type = static_cast<diagnostic_report_type>(-1);
  EXPECT_CALL(handler, on_generate_station_diagnostic_report(7, no_type, testing::_))
      .WillOnce(Return(generation_result::failed));
  unsigned int request = 0;
  EXPECT_EQ(client.generate_station_diagnostic_report(7, no_type, request).value, generation_result::failed);
}

TEST_F(DiagnosticRequests, TellTheFolderOfTheReports) {
  EXPECT_CALL(handler, on_get_diagnostics_folder_path())
      .WillOnce(Return(awkward_text))
      .WillOnce(Return(std::string()));
  EXPECT_EQ(client.get_diagnostics_folder_path().value, awkward_text);
  EXPECT_EQ(client.get_diagnostics_folder_path().value, "");
}

}  // namespace
}  // namespace tavi::stations_maintenance
