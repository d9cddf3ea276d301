#include "simulated_station.h"

#include <tuple>
#include <vector>

#include "station_fixture.h"

namespace {

using nlohmann::json;
using ::testing::ElementsAre;
using ::testing::HasSubstr;

class SimulatedStation : public station_fixture {};

TEST_F(SimulatedStation, ConnectsUnderItsIdentityWithTheSubProtocol) {
  ASSERT_TRUE(start_and_boot());
  EXPECT_EQ(server->last_target, "/ocpp/CS-007");
  EXPECT_EQ(server->offered_sub_protocol, "ocpp1.6");
  EXPECT_TRUE(log.holds(spdlog::level::info, "CS-007 connected"));
}

TEST_F(SimulatedStation, BootsThenAnnouncesBothConnectors) {
  ASSERT_TRUE(start_and_boot());
  EXPECT_THAT(server->trace, ElementsAre("connected", "BootNotification", "StatusNotification Available",
                                         "StatusNotification Available"));
  json const boot = {{"chargePointVendor", "Acme"},
                     {"chargePointModel", "X7-22"},
                     {"chargePointSerialNumber", "S-1"},
                     {"firmwareVersion", "2.5"}};
  EXPECT_EQ(server->frames[0][3], boot);
  EXPECT_EQ(server->frames[1][3]["connectorId"], 0);
  EXPECT_EQ(server->frames[2][3]["connectorId"], 1);
  EXPECT_EQ(server->frames[2][3]["errorCode"], "NoError");
  EXPECT_EQ(logged("CS-007 booted"), 1);
}

TEST_F(SimulatedStation, LeavesFieldsItHasNoValueForOutOfTheBootNotification) {
  options.serial.clear();
  options.firmware_version.clear();
  ASSERT_TRUE(start_and_boot());
  EXPECT_EQ(server->frames[0][3].size(), 2U);
}

TEST_F(SimulatedStation, AsksAgainWhilePendingOrRejectedAndAnnouncesNothingBefore) {
  server->boot_answers = {{{"status", "Pending"}, {"interval", 1}},
                          {{"status", "Rejected"}, {"interval", 1}}};
  ASSERT_TRUE(start_and_boot());
  EXPECT_THAT(server->trace,
              ElementsAre("connected", "BootNotification", "BootNotification", "BootNotification",
                          "StatusNotification Available", "StatusNotification Available"));
  EXPECT_EQ(logged("CS-007 booted"), 1);
}

TEST_F(SimulatedStation, TakesItsOwnIntervalWhenTheAnswerToTheBootGivesNone) {
  options.pace.interval = std::chrono::seconds(1);
  server->boot_answers = {{{"status", "Pending"}, {"interval", 0}}, {{"status", 5}, {"interval", "soon"}}};
  ASSERT_TRUE(start_and_boot());
  EXPECT_EQ(server->count("BootNotification"), 3U);
}

TEST_F(SimulatedStation, SendsHeartbeatsInTheGivenInterval) {
  server->boot_answers = {{{"status", "Accepted"}, {"interval", 1}}};
  ASSERT_TRUE(start_and_boot());
  auto const begin = std::chrono::steady_clock::now();
  ASSERT_TRUE(run_until_traced("Heartbeat", 2));
  EXPECT_GE(std::chrono::steady_clock::now() - begin, std::chrono::milliseconds(1900));
  EXPECT_EQ(server->frames.back()[3], json::object());
}

TEST_F(SimulatedStation, ConnectsAgainAfterTheServerCutTheConnection) {
  ASSERT_TRUE(start_and_boot());
  server->cut();
  ASSERT_TRUE(run_until_traced("StatusNotification", 4));
  EXPECT_EQ(logged("CS-007 connected"), 2);
  EXPECT_EQ(logged("CS-007 booted"), 2);
  EXPECT_EQ(logged("CS-007 disconnected"), 1);
}

TEST_F(SimulatedStation, ConnectsAgainWhenCutInTheMiddleOfTheBootSequence) {
  for (auto const* action : {"BootNotification", "StatusNotification Available"}) {
    SCOPED_TRACE(action);
    server->drop_at = action;
    auto const before = server->count("connected");
    if (!station) {
      ASSERT_TRUE(start());
    } else {
      server->cut();
    }
    ASSERT_TRUE(
        run_until([&] { return server->drop_at.empty() && server->count("connected") >= before + 2; }));
  }
  ASSERT_TRUE(run_until([&] { return logged("CS-007 booted") >= 2; }));
}

TEST_F(SimulatedStation, WaitsForAServerThatIsNotThereYet) {
  auto const port = server->port();
  server.reset();
  ASSERT_TRUE(start());
  ASSERT_TRUE(run_until([this] { return logged("cannot connect") >= 3; }));
  EXPECT_TRUE(log.holds(spdlog::level::warn, "tries again in 5 ms"));
  EXPECT_TRUE(log.holds(spdlog::level::warn, "tries again in 10 ms"));
  EXPECT_TRUE(log.holds(spdlog::level::warn, "tries again in 20 ms"));
  server = std::make_unique<scripted_central_system>(loop, port);
  EXPECT_TRUE(run_until_traced("StatusNotification", 2));
}

TEST_F(SimulatedStation, TriesAgainWhenTheServerRefusesTheHandshake) {
  server->is_refusing = true;
  ASSERT_TRUE(start());
  ASSERT_TRUE(run_until_traced("refused", 2));
  EXPECT_TRUE(log.holds(spdlog::level::warn, "refused with status 401"));
  EXPECT_EQ(logged("CS-007 connected"), 0);
  server->is_refusing = false;
  EXPECT_TRUE(run_until_traced("StatusNotification", 2));
}

TEST_F(SimulatedStation, DoesNotTalkToAServerThatChoseAnotherSubProtocol) {
  for (auto const* chosen : {"", "ocpp2.0.1"}) {
    SCOPED_TRACE(chosen);
    server->sub_protocol = chosen;
    auto const before = server->count("connected");
    if (!station) {
      ASSERT_TRUE(start());
    }
    ASSERT_TRUE(run_until_traced("connected", before + 2));
    EXPECT_EQ(server->count("BootNotification"), 0U);
  }
  EXPECT_TRUE(log.holds(spdlog::level::warn, "did not choose the sub-protocol ocpp1.6"));
}

TEST_F(SimulatedStation, RefusesCallsItDoesNotKnow) {
  ASSERT_TRUE(start_and_boot());
  for (auto const* action :
       {"GetConfiguration", "ChangeConfiguration", "Reset", "UnlockConnector", "Nonsense"}) {
    SCOPED_TRACE(action);
    server->send(json::array({2, action, action, json::object()}).dump());
    ASSERT_TRUE(run_until_traced(std::string("error ") + action));
    EXPECT_EQ(server->answer(action)[2], "NotImplemented");
    EXPECT_EQ(server->answer(action)[4], json::object());
  }
}

TEST_F(SimulatedStation, SurvivesBrokenFrames) {
  ASSERT_TRUE(start_and_boot());
  for (auto const* text :
       {"", "no json", "[", "{}", "[]", "[2]", "[2,7,\"Reset\",{}]", "[9,\"x\",{}]", "null",
        "[3,\"unasked\",{}]", "[3,\"1\",[]]", "[4,\"1\"]", "[4,\"unasked\",\"GenericError\",\"\",{}]",
        "[2,\"\",\"Reset\",{}]", "[3,\"1\",{\"status\":\"Accepted\"}]"}) {
    server->send(text);
  }
  server->send(std::string(100'000, '['));
  server->send(R"([2,"broken","Reset",[]])");
  server->send(R"([2,"last","Reset",{}])");
  ASSERT_TRUE(run_until_traced("error last"));
  EXPECT_EQ(server->answer("broken")[2], "FormationViolation");
  EXPECT_EQ(server->count("error"), 2U);
  EXPECT_EQ(logged("CS-007 disconnected"), 0);
  EXPECT_TRUE(log.holds(spdlog::level::warn, "a broken message was dropped"));
  EXPECT_TRUE(log.holds(spdlog::level::warn, "an answer to unasked was dropped"));
}

TEST_F(SimulatedStation, SurvivesDeeplyNestedFrames) {
  ASSERT_TRUE(start_and_boot());
  auto const levels = std::size_t{500'000};
  auto const nested = std::string(levels, '[') + std::string(levels, ']');
  server->send(R"([2,"deep","Foo",{"a":)" + nested + "}]");
  server->send(R"([2,"last","Reset",{}])");
  ASSERT_TRUE(run_until_traced("error last"));
  EXPECT_TRUE(server->answer("deep").is_null());
  EXPECT_EQ(logged("nested deeper than 16 levels"), 1);
  EXPECT_EQ(logged("CS-007 disconnected"), 0);
}

TEST_F(SimulatedStation, DropsBinaryFrames) {
  ASSERT_TRUE(start_and_boot());
  server->send_binary(R"([2,"binary","Reset",{}])");
  ASSERT_TRUE(run_until([this] { return log.holds(spdlog::level::warn, "a binary frame"); }));
  server->send(R"([2,"text","Reset",{}])");
  ASSERT_TRUE(run_until_traced("error text"));
  EXPECT_TRUE(server->answer("binary").is_null());
}

TEST_F(SimulatedStation, GivesUpACallThatIsNotAnsweredAndGoesOn) {
  options.pace.call_time = std::chrono::milliseconds(50);
  options.pace.interval = std::chrono::seconds(1);
  server->silent_at = "BootNotification";
  ASSERT_TRUE(start_and_boot());
  EXPECT_EQ(server->count("connected"), 1U);
  EXPECT_GE(server->count("BootNotification"), 2U);
}

TEST_F(SimulatedStation, SaysGoodbyeWhenStoppedAndLeavesTheLoopWithoutWork) {
  ASSERT_TRUE(start_and_boot());
  station->stop();
  ASSERT_TRUE(run_until_traced("closed"));
  ASSERT_TRUE(run_until([this] { return logged("CS-007 disconnected") == 1; }));
  EXPECT_EQ(server->count("lost"), 0U);
  EXPECT_EQ(server->count("connected"), 1U);
  station->stop();
}

TEST_F(SimulatedStation, RunsOutOfWorkWhenStoppedWhileItWaitsToConnect) {
  options.pace.first_pause = std::chrono::hours(1);
  options.pace.longest_pause = std::chrono::hours(1);
  server.reset();
  ASSERT_TRUE(start());
  ASSERT_TRUE(run_until([this] { return log.holds(spdlog::level::warn, "cannot connect"); }));
  station->stop();
  loop.restart();
  loop.run_for(std::chrono::seconds(60));
  EXPECT_TRUE(loop.stopped());
}

TEST_F(SimulatedStation, CutsAServerOffThatDoesNotSayGoodbye) {
  options.pace.close_time = std::chrono::milliseconds(50);
  // A listener whose queue takes the connection, and nobody who ever reads from it after the handshake.
  ASSERT_TRUE(start_and_boot());
  server->stop_reading = true;
  server->send(R"([2,"x","Reset",{}])");
  ASSERT_TRUE(run_until_traced("error x"));
  station->stop();
  ASSERT_TRUE(run_until([this] { return logged("CS-007 disconnected") == 1; }));
  EXPECT_EQ(server->count("closed"), 0U);
}

TEST_F(SimulatedStation, MayGoAwayAtAnyMoment) {
  ASSERT_TRUE(start_and_boot());
  station.reset();
  ASSERT_TRUE(run_until_traced("closed"));
  EXPECT_EQ(server->count("lost"), 0U);
}

TEST_F(SimulatedStation, LogsItsWayInOrder) {
  ASSERT_TRUE(start_and_boot());
  station->stop();
  ASSERT_TRUE(run_until([this] { return logged("CS-007 disconnected") == 1; }));
  std::vector<std::string> told;
  for (auto const& line : log.lines()) {
    told.push_back(line.text);
  }
  EXPECT_THAT(told, ElementsAre("CS-007 connected", "CS-007 booted", "CS-007 disconnected"));
}

TEST_F(SimulatedStation, RefusesToStartWithUnusableOptions) {
  using change = void (*)(tavi::simulator::station_options&, std::filesystem::path const&);
  std::vector<std::tuple<char const*, change, char const*>> const rows = {
      {"no identity", [](auto& o, auto const&) { o.identity = ""; }, "identity"},
      {"identity with a slash", [](auto& o, auto const&) { o.identity = "../CS"; }, "identity"},
      {"identity that is a folder", [](auto& o, auto const&) { o.identity = ".."; }, "identity"},
      {"no url", [](auto& o, auto const&) { o.url = ""; }, "url"},
      {"url of another scheme", [](auto& o, auto const&) { o.url = "http://127.0.0.1/ocpp"; }, "url"},
      {"work folder that is a file", [](auto& o, auto const& file) { o.work_folder = file; }, "cannot open"},
  };
  auto const file = folder.write("file", "x");
  auto const good = options;
  for (auto const& [name, alter, expected] : rows) {
    SCOPED_TRACE(name);
    options = good;
    alter(options, file);
    log.clear();
    EXPECT_FALSE(start());
    EXPECT_TRUE(log.holds(spdlog::level::err, expected));
  }
}

TEST_F(SimulatedStation, StartsOnceOnly) {
  ASSERT_TRUE(start());
  EXPECT_FALSE(station->start());
}

TEST_F(SimulatedStation, JournalsWhatItSendsAndReceives) {
  ASSERT_TRUE(start_and_boot());
  auto const journal = content_of(options.work_folder / "station.log");
  EXPECT_THAT(journal, HasSubstr("Z sent [2,\"1\",\"BootNotification\","));
  EXPECT_THAT(journal, HasSubstr("Z received [3,\"1\",{"));
}

}  // namespace
