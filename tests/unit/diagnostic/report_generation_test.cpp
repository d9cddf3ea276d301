#include "report_generation.h"

#include <optional>
#include <ostream>
#include <string>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "diagnostic_fixture.h"

namespace tavi::stations_maintenance {
namespace {

using spdlog::level::err;
using spdlog::level::info;
using spdlog::level::trace;
using tavi::logger::log_subtype;
using tavi::network::network_config;
using tavi::stations::charging_station;
using tavi::stations::station_diagnostics_status;
using testing::_;
using testing::DoAll;
using testing::ElementsAre;
using testing::InSequence;
using testing::Return;
using testing::SetArgReferee;

charging_station station(unsigned int id,
                         station_diagnostics_status status = station_diagnostics_status::idle) {
  return {id, "CS-" + std::to_string(id), "Acme", "X7-22", status, true};
}

class ReportGeneration : public DiagnosticManagerTest {
 protected:
  void SetUp() override {
    DiagnosticManagerTest::SetUp();
    ASSERT_TRUE(init());
    ON_CALL(network, get_network_config).WillByDefault(Return(network_config{"10.0.0.1:8080"}));
    ON_CALL(tokens, get_upload_token).WillByDefault(Return("token"));
    ON_CALL(tokens, build_upload_location).WillByDefault([](auto const& address, auto const& token) {
      return "http://" + address + "/upload/" + token;
    });
    log.clear();
  }

  void expect_functional_log(std::string const& text) {
    EXPECT_CALL(logger, send_functional_log(13, log_subtype::diagnostic_all_stations_generation, text))
        .WillOnce(note_in_log);
  }

  unsigned int request = 0;
};

TEST_F(ReportGeneration, SendsAStationAFreshTokensLocationAndExpectsItsUpload) {
  EXPECT_CALL(tokens, get_upload_token("diagnostic_manager")).WillOnce(Return("fresh"));
  EXPECT_CALL(ocpp, request_diagnostics_upload(4, "http://10.0.0.1:8080/upload/fresh/", _))
      .WillOnce(DoAll(SetArgReferee<2>(77U), Return(0)));
  EXPECT_EQ(manager.generate_diagnostic(4, manual, "10.0.0.1:8080", request), generation_result::accepted);
  EXPECT_EQ(request, 77U);
  EXPECT_TRUE(manager.is_my_token("fresh"));
  EXPECT_THAT(log.lines(),
              ElementsAre(log_line{info, "[diagnostic_manager] Diagnostic for station 4 generated"}));
}

TEST_F(ReportGeneration, FailsWithoutAToken) {
  EXPECT_CALL(tokens, get_upload_token).WillOnce(Return(std::nullopt));
  EXPECT_CALL(ocpp, request_diagnostics_upload).Times(0);
  EXPECT_EQ(manager.generate_diagnostic(4, manual, "a", request), generation_result::failed);
  EXPECT_THAT(
      log.lines(),
      ElementsAre(log_line{err,
                           "[diagnostic_manager] Error while trying to generate token to generate diagnostic "
                           "for station 4"}));
}

struct refusal {
  char const* situation;
  int answer;
  generation_result result;
  char const* line;
};

void PrintTo(refusal const& one, std::ostream* out) {
  *out << one.situation;
}

class Refusal : public ReportGeneration, public testing::WithParamInterface<refusal> {};

TEST_P(Refusal, IsToldAndLeavesNothingExpected) {
  EXPECT_CALL(ocpp, request_diagnostics_upload).WillOnce(Return(GetParam().answer));
  EXPECT_EQ(manager.generate_diagnostic(4, periodic, "a", request), GetParam().result);
  EXPECT_FALSE(manager.is_my_token("token"));
  EXPECT_THAT(log.lines(), ElementsAre(log_line{err, GetParam().line}));
}

INSTANTIATE_TEST_SUITE_P(
    Each, Refusal,
    testing::Values(refusal{"UnknownStation", 1, generation_result::unknown_station,
                            "[diagnostic_manager] Unknown ID for station 4"},
                    refusal{"NotConnected", 2, generation_result::not_connected,
                            "[diagnostic_manager] Error while generating for station 4 : not connected"},
                    refusal{"NoValidAnswer", 3, generation_result::failed,
                            "[diagnostic_manager] IPC Error while sending generation command to station 4"},
                    refusal{"NegativeAnswer", -1, generation_result::failed,
                            "[diagnostic_manager] IPC Error while sending generation command to station 4"}),
    [](auto const& tested) { return std::string(tested.param.situation); });

TEST_F(ReportGeneration, KeepsTheLaterStationWhenATokenComesTwice) {
  ON_CALL(ocpp, request_diagnostics_upload).WillByDefault(Return(0));
  EXPECT_EQ(manager.generate_diagnostic(4, periodic, "a", request), generation_result::accepted);
  EXPECT_EQ(manager.generate_diagnostic(5, manual, "a", request), generation_result::accepted);
  EXPECT_TRUE(manager.save_file("token", "a", given_uploaded("a", "content")));
  auto const reports = table.get_all_diagnostics();
  ASSERT_EQ(reports.size(), 1U);
  EXPECT_EQ(reports.front().station_id, 5U);
  EXPECT_EQ(reports.front().type, manual);
  EXPECT_FALSE(manager.is_my_token("token"));
}

struct status_case {
  unsigned int status;
  bool is_allowed;
};

TEST_F(ReportGeneration, IsAllowedForTheThreeLowestStatusesOnly) {
  for (auto const& [status, is_allowed] :
       {status_case{0, true}, {1, true}, {2, true}, {3, false}, {4, false}, {0xFFFFFFFF, false}}) {
    EXPECT_EQ(diagnostic_manager::is_upload_allowed(static_cast<station_diagnostics_status>(status)),
              is_allowed)
        << status;
  }
}

TEST_F(ReportGeneration, AsksOneStationWithTheControllersAddress) {
  EXPECT_CALL(ocpp, get_charging_station(4)).WillOnce(Return(station(4)));
  EXPECT_CALL(ocpp, request_diagnostics_upload(4, "http://10.0.0.1:8080/upload/token/", _))
      .WillOnce(Return(0));
  EXPECT_EQ(manager.generate_single_diagnostic(4, manual, request), generation_result::accepted);
}

TEST_F(ReportGeneration, ContactsNobodyForAStationWhenItsTypeIsBlocked) {
  manager.update_max_manual_diagnostic(0);
  EXPECT_CALL(ocpp, get_charging_station).Times(0);
  EXPECT_CALL(network, get_network_config).Times(0);
  EXPECT_CALL(tokens, get_upload_token).Times(0);
  EXPECT_EQ(manager.generate_single_diagnostic(4, manual, request), generation_result::failed);
  EXPECT_THAT(
      log.lines(),
      ElementsAre(log_line{
          info, "[diagnostic_manager] Generation of manual diagnostic reports blocked by configuration"}));
}

TEST_F(ReportGeneration, NamesWhatIsNoTypeUnknown) {
  EXPECT_EQ(manager.generate_single_diagnostic(4, static_cast<diagnostic_report_type>(6), request),
            generation_result::failed);
  EXPECT_TRUE(log.holds(info, "Generation of unknown diagnostic reports blocked by configuration"));
}

TEST_F(ReportGeneration, LeavesAStationAloneThatIsUploading) {
  EXPECT_CALL(ocpp, get_charging_station).WillOnce(Return(station(4, station_diagnostics_status::uploading)));
  EXPECT_CALL(tokens, get_upload_token).Times(0);
  EXPECT_EQ(manager.generate_single_diagnostic(4, periodic, request), generation_result::failed);
  EXPECT_THAT(
      log.lines(),
      ElementsAre(log_line{err,
                           "[diagnostic_manager] Can't generate diagnostic report for station 4. Diagnostic "
                           "status is uploading"}));
}

TEST_F(ReportGeneration, AsksForAStationThatIsNotKnownSoThatTheAnswerSaysSo) {
  EXPECT_CALL(ocpp, get_charging_station(9)).WillOnce(Return(std::nullopt));
  EXPECT_CALL(ocpp, request_diagnostics_upload(9, _, _)).WillOnce(Return(1));
  EXPECT_EQ(manager.generate_single_diagnostic(9, manual, request), generation_result::unknown_station);
}

TEST_F(ReportGeneration, NeedsTheNetworkConfigurationForOneStation) {
  EXPECT_CALL(ocpp, get_charging_station).WillOnce(Return(station(4)));
  EXPECT_CALL(network, get_network_config).WillOnce(Return(std::nullopt));
  EXPECT_CALL(tokens, get_upload_token).Times(0);
  EXPECT_EQ(manager.generate_single_diagnostic(4, manual, request), generation_result::failed);
  EXPECT_THAT(log.lines(),
              ElementsAre(log_line{
                  err, "Can't read network configuration. Can't generate diagnostic for station 4"}));
}

TEST_F(ReportGeneration, AsksNobodyInARunThatIsBlocked) {
  manager.update_max_periodic_diagnostic(0);
  EXPECT_CALL(logger, send_functional_log).Times(0);
  expect_functional_log("Generating diagnostic report blocked by configuration ");
  EXPECT_CALL(ocpp, get_charging_stations).Times(0);
  EXPECT_CALL(ocpp, request_diagnostics_upload).Times(0);
  EXPECT_FALSE(manager.generate_all_diagnostics(periodic));
  EXPECT_THAT(
      log.lines(),
      ElementsAre(
          log_line{info,
                   "[diagnostic_manager] Generation of periodic diagnostic reports blocked by configuration"},
          log_line{trace, "told: Generating diagnostic report blocked by configuration "}));
}

TEST_F(ReportGeneration, AsksEveryStationInListOrder) {
  EXPECT_CALL(ocpp, get_charging_stations).WillOnce(Return(std::vector{station(3), station(1), station(2)}));
  {
    InSequence const in_order;
    expect_functional_log("Generating diagnostic report for all stations");
    EXPECT_CALL(ocpp, request_diagnostics_upload(3, _, _)).WillOnce(Return(0));
    EXPECT_CALL(ocpp, request_diagnostics_upload(1, _, _)).WillOnce(Return(0));
    EXPECT_CALL(ocpp, request_diagnostics_upload(2, _, _)).WillOnce(Return(0));
    expect_functional_log("Generating diagnostic report for all stations 3 out of 3 have been generated");
  }
  EXPECT_TRUE(manager.generate_all_diagnostics(manual));
}

TEST_F(ReportGeneration, GoesOnAfterStationsThatCannotBeAskedAndThoseThatRefuse) {
  EXPECT_CALL(ocpp, get_charging_stations)
      .WillOnce(
          Return(std::vector{station(1, station_diagnostics_status::uploading), station(2), station(3)}));
  EXPECT_CALL(ocpp, request_diagnostics_upload(2, _, _)).WillOnce(Return(2));
  EXPECT_CALL(ocpp, request_diagnostics_upload(3, _, _)).WillOnce(Return(0));
  expect_functional_log("Generating diagnostic report for all stations");
  expect_functional_log("Generating diagnostic report for all stations 1 out of 3 have been generated");
  EXPECT_FALSE(manager.generate_all_diagnostics(periodic));
  EXPECT_THAT(
      log.lines(),
      ElementsAre(
          log_line{trace, "told: Generating diagnostic report for all stations"},
          log_line{err,
                   "[diagnostic_manager] Can't generate diagnostic report for station 1. Diagnostic report "
                   "status is uploading"},
          log_line{err, "[diagnostic_manager] Error while generating for station 2 : not connected"},
          log_line{info, "[diagnostic_manager] Diagnostic for station 3 generated"},
          log_line{trace,
                   "told: Generating diagnostic report for all stations 1 out of 3 have been generated"}));
}

TEST_F(ReportGeneration, CountsAStationThatMayNotBeAskedAsNoFailure) {
  EXPECT_CALL(ocpp, get_charging_stations)
      .WillOnce(Return(std::vector{station(1, static_cast<station_diagnostics_status>(9))}));
  expect_functional_log("Generating diagnostic report for all stations");
  expect_functional_log("Generating diagnostic report for all stations 0 out of 1 have been generated");
  EXPECT_TRUE(manager.generate_all_diagnostics(periodic));
  EXPECT_TRUE(log.holds(err, "Diagnostic report status is unknown"));
}

TEST_F(ReportGeneration, CompletesARunOverNoStations) {
  EXPECT_CALL(ocpp, get_charging_stations).WillOnce(Return(std::vector<charging_station>{}));
  expect_functional_log("Generating diagnostic report for all stations");
  expect_functional_log("Generating diagnostic report for all stations 0 out of 0 have been generated");
  EXPECT_TRUE(manager.generate_all_diagnostics(periodic));
  EXPECT_THAT(
      log.lines(),
      ElementsAre(
          log_line{trace, "told: Generating diagnostic report for all stations"},
          log_line{trace,
                   "told: Generating diagnostic report for all stations 0 out of 0 have been generated"}));
}

TEST_F(ReportGeneration, CountsARunWithoutNetworkConfigurationAsDone) {
  EXPECT_CALL(ocpp, request_diagnostics_upload).Times(0);
  {
    InSequence const in_order;
    expect_functional_log("Generating diagnostic report for all stations");
    EXPECT_CALL(ocpp, get_charging_stations).WillOnce(Return(std::vector{station(1), station(2)}));
    EXPECT_CALL(network, get_network_config).WillOnce(Return(std::nullopt));
    expect_functional_log("Generating diagnostic report for all stations 0 out of 2 have been generated");
  }
  EXPECT_TRUE(manager.generate_all_diagnostics(periodic));
  EXPECT_THAT(
      log.lines(),
      ElementsAre(
          log_line{trace, "told: Generating diagnostic report for all stations"},
          log_line{err, "Can't read network configuration. Can't generate diagnostic for stations"},
          log_line{trace,
                   "told: Generating diagnostic report for all stations 0 out of 2 have been generated"}));
}

}  // namespace
}  // namespace tavi::stations_maintenance
