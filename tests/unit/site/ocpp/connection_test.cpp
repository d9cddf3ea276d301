#include <ostream>

#include "ocpp_site.h"

namespace tavi::site::ocpp {
namespace {

using nlohmann::json;

TEST_F(OcppSite, HeartbeatIsAnswered) {
  start();
  auto station = connected("CP-1");
  auto const answer = station.call("Heartbeat", json::object());
  EXPECT_EQ(answer.at(0), 3);
  EXPECT_EQ(answer.at(1), "t1");
  EXPECT_TRUE(answer.at(2).contains("currentTime"));
}

TEST_F(OcppSite, UnknownActionIsNotImplemented) {
  start();
  auto const answer = connected("CP-1").call("MakeCoffee", json::object());
  EXPECT_EQ(answer.at(0), 4);
  EXPECT_EQ(answer.at(1), "t1");
  EXPECT_EQ(answer.at(2), "NotImplemented");
}

TEST_F(OcppSite, BrokenCallIsAnsweredAndTheConnectionGoesOn) {
  start();
  auto station = connected("CP-1");
  ASSERT_TRUE(station.send(R"([2,"x1","Heartbeat",[]])"));
  auto const refused = json::parse(station.receive().value());
  EXPECT_EQ(refused.at(1), "x1");
  EXPECT_EQ(refused.at(2), "FormationViolation");
  EXPECT_EQ(station.call("Heartbeat", json::object()).at(0), 3);
}

struct dropped_case {
  char const* name;
  std::string text;
  std::string line;
};

void PrintTo(dropped_case const& row, std::ostream* out) {
  *out << row.name;
}

class DroppedMessage : public OcppSite, public testing::WithParamInterface<dropped_case> {};

TEST_P(DroppedMessage, IsLoggedAndTheConnectionGoesOn) {
  start();
  auto station = connected("CP-1");
  ASSERT_TRUE(station.send(GetParam().text));
  EXPECT_EQ(station.call("Heartbeat", json::object()).at(1), "t1");
  EXPECT_TRUE(log.holds(spdlog::level::warn, GetParam().line));
}

INSTANTIATE_TEST_SUITE_P(
    Rows, DroppedMessage,
    testing::Values(dropped_case{"NoJson", "hello", "a message is dropped: no JSON"},
                    dropped_case{"NoArray", "{}", "a message is dropped"},
                    dropped_case{"NestedTooDeep", std::string(5000, '['), "nested deeper"},
                    dropped_case{"ResultOfNoCall", R"([3,"nope",{}])", "no call waits for it: id nope"},
                    dropped_case{"ErrorOfNoCall", R"([4,"nope","GenericError","",{}])", "id nope"},
                    dropped_case{"ResultWithLineBreakInItsId", "[3,\"a\\nb\",{}]", "id a?b"}),
    [](auto const& row) { return std::string(row.param.name); });

TEST_F(OcppSite, BinaryMessageIsDropped) {
  start();
  auto station = connected("CP-1");
  ASSERT_TRUE(station.send_binary(R"([2,"x1","Heartbeat",{}])"));
  EXPECT_EQ(station.call("Heartbeat", json::object()).at(1), "t1");
  EXPECT_TRUE(log.holds(spdlog::level::warn, "it is binary"));
}

TEST_F(OcppSite, MessageBeyondTheLimitEndsTheConnection) {
  start();
  auto station = connected("CP-1");
  station.send("[2,\"x1\",\"Heartbeat\",{\"a\":\"" + std::string(70'000, 'a') + "\"}]");
  EXPECT_EQ(station.receive(), std::nullopt);
  EXPECT_EQ(station.close_code(), 1009U);
  EXPECT_TRUE(events.wait_for("status 1 offline idle"));
}

TEST_F(OcppSite, TextThatIsNoUtf8EndsTheConnection) {
  start();
  auto station = connected("CP-1");
  station.send("[2,\"\xFF\",\"Heartbeat\",{}]");
  EXPECT_EQ(station.receive(), std::nullopt);
  EXPECT_TRUE(events.wait_for("status 1 offline idle"));
}

TEST_F(OcppSite, StationThatReadsLateGetsEveryAnswerInOrder) {
  start();
  auto station = connected("CP-1");
  for (int number = 0; number < 500; ++number) {
    ASSERT_TRUE(station.send(json::array({2, std::to_string(number), "Heartbeat", json::object()}).dump()));
  }
  for (int number = 0; number < 500; ++number) {
    auto const answer = station.receive();
    ASSERT_TRUE(answer.has_value());
    EXPECT_EQ(json::parse(*answer).at(1), std::to_string(number));
  }
}

TEST_F(OcppSite, SilentStationIsDroppedAndOneThatAnswersPingsStays) {
  options.session.idle_time_out = std::chrono::seconds(2);
  start();
  auto alive = connected("CP-1");
  auto waiting = std::async(std::launch::async, [&] { return alive.receive(); });
  auto silent = connected("CP-2");
  ASSERT_TRUE(events.wait_for("status 2 online idle"));
  EXPECT_TRUE(events.wait_for("status 2 offline idle"));
  EXPECT_TRUE(system().on_get_charging_station(1).value().connected);
  stop();
  EXPECT_EQ(waiting.get(), std::nullopt);
}

TEST_F(OcppSite, DiagnosticsStatusOutlivesAConnection) {
  start();
  {
    auto station = connected("CP-1");
    EXPECT_EQ(station.call("DiagnosticsStatusNotification", {{"status", "UploadFailed"}}).at(0), 3);
    station.close();
  }
  EXPECT_TRUE(events.wait_for("status 1 offline upload failed"));
  auto station = connected("CP-1");
  EXPECT_TRUE(events.wait_for("status 1 online upload failed", 2));
}

TEST_F(OcppSite, UploadThatWasUnderWayIsOverWithTheNextConnection) {
  start();
  {
    auto station = connected("CP-1");
    EXPECT_EQ(station.call("DiagnosticsStatusNotification", {{"status", "Uploading"}}).at(0), 3);
    station.close();
  }
  EXPECT_TRUE(events.wait_for("status 1 offline uploading"));
  auto station = connected("CP-1");
  EXPECT_TRUE(events.wait_for("status 1 online idle", 2));
  EXPECT_EQ(system().on_get_charging_station(1).value().diagnostics_status,
            tavi::stations::station_diagnostics_status::idle);
}

}  // namespace
}  // namespace tavi::site::ocpp
