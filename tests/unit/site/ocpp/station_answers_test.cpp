#include "ocpp/station_answers.h"

#include <gtest/gtest.h>

#include "fake_station_events.h"
#include "log_capture.h"
#include "temporary_folder.h"

namespace tavi::site::ocpp {
namespace {

using nlohmann::json;
using namespace std::chrono_literals;
using texts = std::vector<std::string>;

class StationAnswers : public testing::Test {
 protected:
  void SetUp() override {
    ASSERT_TRUE(registry.load());
    ASSERT_EQ(registry.add("CP-1"), 1U);
  }

  std::string answer_to(std::string const& action, std::string const& payload) {
    return answers.answer(1, {"m7", action, json::parse(payload)});
  }

  log_capture log;
  temporary_folder state;
  station_registry registry{state.path() / "stations.json", 10};
  fake_station_events events;
  station_answers answers{registry, events, 300s,
                          [] { return std::chrono::system_clock::time_point(1795176309s + 42ms); }};
};

TEST_F(StationAnswers, BootIsAcceptedWithTimeAndInterval) {
  auto const answer =
      answer_to("BootNotification", R"({"chargePointVendor":"Acme","chargePointModel":"X7"})");
  EXPECT_EQ(answer,
            R"([3,"m7",{"currentTime":"2026-11-20T12:05:09.042Z","interval":300,"status":"Accepted"}])");
  EXPECT_EQ(registry.get(1).value().vendor, "Acme");
  EXPECT_EQ(registry.get(1).value().model, "X7");
  EXPECT_TRUE(log.holds(spdlog::level::info, "station 1 (CP-1) booted as Acme X7"));
}

TEST_F(StationAnswers, BootOfAStrangeVendorCannotBreakTheLog) {
  answer_to("BootNotification", R"({"chargePointVendor":"A\nB","chargePointModel":"\u001b[2J"})");
  EXPECT_TRUE(log.holds(spdlog::level::info, "booted as A?B ?[2J"));
}

TEST_F(StationAnswers, BootEndsAnUploadThatItsStationHadBegun) {
  answer_to("DiagnosticsStatusNotification", R"({"status":"Uploading"})");
  answer_to("BootNotification", R"({"chargePointVendor":"Acme","chargePointModel":"X7"})");
  EXPECT_EQ(events.all(), (texts{"status 1 offline uploading", "status 1 offline idle"}));
}

TEST_F(StationAnswers, HeartbeatIsAnsweredWithTheTime) {
  EXPECT_EQ(answer_to("Heartbeat", "{}"), R"([3,"m7",{"currentTime":"2026-11-20T12:05:09.042Z"}])");
}

TEST_F(StationAnswers, ConnectorStatusIsAnnounced) {
  EXPECT_EQ(
      answer_to("StatusNotification", R"({"connectorId":2,"status":"Faulted","errorCode":"OverVoltage"})"),
      R"([3,"m7",{}])");
  EXPECT_EQ(events.all(), texts{"connector 1/2 Faulted OverVoltage"});
}

TEST_F(StationAnswers, EveryCardIsAccepted) {
  EXPECT_EQ(answer_to("Authorize", R"({"idTag":"T"})"), R"([3,"m7",{"idTagInfo":{"status":"Accepted"}}])");
}

TEST_F(StationAnswers, TransactionsGetAscendingNumbers) {
  auto const start = R"({"connectorId":1,"idTag":"T","meterStart":0,"timestamp":"2026-11-20T12:00:00Z"})";
  EXPECT_EQ(answer_to("StartTransaction", start),
            R"([3,"m7",{"idTagInfo":{"status":"Accepted"},"transactionId":1}])");
  EXPECT_EQ(answer_to("StartTransaction", start),
            R"([3,"m7",{"idTagInfo":{"status":"Accepted"},"transactionId":2}])");
}

TEST_F(StationAnswers, TransactionWithoutANumberIsAnInternalError) {
  std::filesystem::remove_all(state.path());
  auto const answer =
      answer_to("StartTransaction",
                R"({"connectorId":1,"idTag":"T","meterStart":0,"timestamp":"2026-11-20T12:00:00Z"})");
  EXPECT_EQ(json::parse(answer).at(2), "InternalError");
}

TEST_F(StationAnswers, StoppedTransactionIsAnsweredAboutItsCard) {
  auto const end = R"({"transactionId":1,"meterStop":9,"timestamp":"2026-11-20T12:00:00Z")";
  EXPECT_EQ(answer_to("StopTransaction", std::string(end) + R"(,"idTag":"T"})"),
            R"([3,"m7",{"idTagInfo":{"status":"Accepted"}}])");
  EXPECT_EQ(answer_to("StopTransaction", std::string(end) + "}"), R"([3,"m7",{}])");
}

TEST_F(StationAnswers, MeterValuesAreTaken) {
  EXPECT_EQ(answer_to("MeterValues", R"({"connectorId":1,"meterValue":[{"timestamp":"2026-11-20T12:00:00Z",
                                         "sampledValue":[{"value":"1"}]}]})"),
            R"([3,"m7",{}])");
}

TEST_F(StationAnswers, DataOfAnyVendorIsUnknown) {
  EXPECT_EQ(answer_to("DataTransfer", R"({"vendorId":"acme"})"), R"([3,"m7",{"status":"UnknownVendorId"}])");
}

TEST_F(StationAnswers, DiagnosticsStatusIsAnnouncedWhenItChanges) {
  for (auto const* const status : {"Idle", "Uploading", "Uploading", "UploadFailed", "Uploaded"}) {
    EXPECT_EQ(answer_to("DiagnosticsStatusNotification", json({{"status", status}}).dump()),
              R"([3,"m7",{}])");
  }
  EXPECT_EQ(events.all(), (texts{"status 1 offline uploading", "status 1 offline upload failed",
                                 "status 1 offline uploaded"}));
}

TEST_F(StationAnswers, FirmwareStatusIsTakenLoggedAndAnnounced) {
  EXPECT_EQ(answer_to("FirmwareStatusNotification", R"({"status":"Downloaded"})"), R"([3,"m7",{}])");
  EXPECT_TRUE(log.holds(spdlog::level::info, "station 1 tells firmware status Downloaded"));
  EXPECT_EQ(events.all(), texts{"firmware 1 Downloaded"});
}

TEST_F(StationAnswers, WhatBreaksTheProtocolIsRefusedAndChangesNothing) {
  auto const answer = json::parse(answer_to("BootNotification", R"({"chargePointVendor":"Acme"})"));
  EXPECT_EQ(answer.at(0), 4);
  EXPECT_EQ(answer.at(1), "m7");
  EXPECT_EQ(answer.at(2), "OccurenceConstraintViolation");
  EXPECT_EQ(answer.at(4), json::object());
  EXPECT_EQ(registry.get(1).value().vendor, "");
  EXPECT_TRUE(log.holds(spdlog::level::warn, "OccurenceConstraintViolation"));
}

TEST_F(StationAnswers, UnknownActionIsNotImplemented) {
  EXPECT_EQ(json::parse(answer_to("MakeCoffee", "{}")).at(2), "NotImplemented");
}

}  // namespace
}  // namespace tavi::site::ocpp
