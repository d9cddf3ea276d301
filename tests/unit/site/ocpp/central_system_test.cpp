#include "ocpp/central_system.h"

#include <ostream>
#include <thread>

#include <gmock/gmock.h>

#include "../../http/raw_client.h"
#include "ipc_test.h"
#include "ocpp_site.h"

namespace tavi::site::ocpp {
namespace {

using nlohmann::json;
using texts = std::vector<std::string>;

TEST_F(OcppSite, StationBootsAndIsKnownWithItsModel) {
  start();
  auto station = connected("CP-1");
  EXPECT_EQ(station.protocol(), "ocpp1.6");
  auto const answer =
      station.call("BootNotification", {{"chargePointVendor", "Acme"}, {"chargePointModel", "X7"}});
  ASSERT_EQ(answer.at(0), 3);
  EXPECT_EQ(answer.at(2).at("status"), "Accepted");
  EXPECT_EQ(answer.at(2).at("interval"), 300);
  auto const known = system().on_get_charging_station(1);
  ASSERT_TRUE(known.has_value());
  EXPECT_EQ(known->identity, "CP-1");
  EXPECT_EQ(known->vendor, "Acme");
  EXPECT_EQ(known->model, "X7");
  EXPECT_TRUE(known->connected);
  EXPECT_TRUE(log.holds(spdlog::level::info, "station 1 (CP-1) connected"));
}

TEST_F(OcppSite, NewStationIsAnnouncedBeforeItsConnection) {
  start();
  auto station = connected("CP-1");
  station.call("Heartbeat", json::object());
  EXPECT_EQ(events.all(), (texts{"created 1", "status 1 online idle"}));
}

TEST_F(OcppSite, StationThatLeavesIsAnnounced) {
  start();
  auto station = connected("CP-1");
  station.close();
  EXPECT_TRUE(events.wait_for("status 1 offline idle"));
  EXPECT_TRUE(log.holds(spdlog::level::info, "station 1 (CP-1) disconnected"));
  EXPECT_FALSE(system().on_get_charging_station(1).value().connected);
}

TEST_F(OcppSite, StationThatIsCutOffIsAnnounced) {
  start();
  auto station = connected("CP-1");
  station.cut();
  EXPECT_TRUE(events.wait_for("status 1 offline idle"));
}

TEST_F(OcppSite, StationKeepsItsNumberAcrossARestart) {
  start();
  EXPECT_EQ(connected("CP-1").call("Heartbeat", json::object()).at(0), 3);
  EXPECT_EQ(connected("CP-2").call("Heartbeat", json::object()).at(0), 3);
  stop();
  start();
  auto station = connected("CP-2");
  EXPECT_EQ(station.call("Heartbeat", json::object()).at(0), 3);
  EXPECT_TRUE(system().on_get_charging_station(2).value().connected);
  EXPECT_FALSE(system().on_get_charging_station(1).value().connected);
  EXPECT_EQ(system().on_get_charging_stations().size(), 2U);
}

TEST_F(OcppSite, StationThatNobodyKnowsHasNoRecord) {
  start();
  EXPECT_EQ(system().on_get_charging_station(1), std::nullopt);
  EXPECT_TRUE(system().on_get_charging_stations().empty());
}

TEST_F(OcppSite, DoesNotStartWithABrokenStationsFile) {
  state.write("stations.json", "no JSON");
  boost::asio::io_context loop;
  http::http_listener listener(loop, {});
  central_system broken(loop, options, events, firmware);
  EXPECT_FALSE(broken.add_to(listener));
  EXPECT_TRUE(log.holds(spdlog::level::err, "stations.json"));
}

struct refused_case {
  char const* name;
  std::string target;
  std::string protocol;
  unsigned int status;
};

void PrintTo(refused_case const& row, std::ostream* out) {
  *out << row.name;
}

class RefusedConnection : public OcppSite, public testing::WithParamInterface<refused_case> {};

TEST_P(RefusedConnection, GetsItsStatusAndCreatesNoStation) {
  options.is_accepting_unknown = GetParam().status != 404;
  start();
  EXPECT_EQ(test_station().connect(port, GetParam().target, GetParam().protocol), GetParam().status);
  EXPECT_TRUE(system().on_get_charging_stations().empty());
  EXPECT_TRUE(events.all().empty());
}

INSTANTIATE_TEST_SUITE_P(
    Rows, RefusedConnection,
    testing::Values(refused_case{"NoIdentity", "/ocpp/", "ocpp1.6", 400},
                    refused_case{"IdentityTooLong", "/ocpp/" + std::string(49, 'a'), "ocpp1.6", 400},
                    refused_case{"IdentityWithControlCharacter", "/ocpp/a%0Ab", "ocpp1.6", 400},
                    refused_case{"UnknownStation", "/ocpp/CP-1", "ocpp1.6", 404},
                    refused_case{"UnknownStationOfAnotherSubProtocol", "/ocpp/CP-1", "ocpp2.0.1", 404}),
    [](auto const& row) { return std::string(row.param.name); });

class OtherSubProtocol : public OcppSite, public testing::WithParamInterface<char const*> {};

TEST_P(OtherSubProtocol, IsConnectedWithoutOneAndClosedAndCreatesNoStation) {
  start();
  test_station station;
  EXPECT_EQ(station.connect(port, "/ocpp/CP-1", GetParam()), 101U);
  EXPECT_EQ(station.protocol(), "");
  EXPECT_EQ(station.receive(), std::nullopt);
  EXPECT_EQ(station.close_code(), 1002U);
  EXPECT_TRUE(system().on_get_charging_stations().empty());
  EXPECT_TRUE(events.all().empty());
  EXPECT_TRUE(log.holds(spdlog::level::warn, "does not offer the sub-protocol ocpp1.6"));
}

INSTANTIATE_TEST_SUITE_P(Rows, OtherSubProtocol, testing::Values("", "ocpp2.0.1", "ocpp1.5, ocpp2.0.1"));

/// A request for a WebSocket, as it is on the wire.
std::string const upgrade =
    "GET /ocpp/CP-1 HTTP/1.1\r\nHost: a\r\nConnection: Upgrade\r\nUpgrade: websocket\r\n"
    "Sec-WebSocket-Version: 13\r\nSec-WebSocket-Key: AAAAAAAAAAAAAAAAAAAAAA==\r\n"
    "Sec-WebSocket-Protocol: ocpp1.6\r\n\r\n";

TEST_F(OcppSite, RequestFollowedByTheRightSilenceIsTaken) {
  start();
  raw_client station(port);
  ASSERT_TRUE(station.send(upgrade));
  EXPECT_EQ(status_of(station.read_answer()), 101);
}

TEST_F(OcppSite, RequestThatIsNoProperHandshakeCreatesNoStation) {
  start();
  auto request = upgrade;
  request.erase(request.find("Sec-WebSocket-Key"), std::string("Sec-WebSocket-Key").size());
  raw_client stranger(port);
  ASSERT_TRUE(stranger.send(request.replace(request.find(": AAAA"), 0, "X-Other")));
  EXPECT_EQ(status_of(stranger.read_answer()), 400);
  EXPECT_TRUE(system().on_get_charging_stations().empty());
  EXPECT_TRUE(events.all().empty());
  EXPECT_FALSE(std::filesystem::exists(options.stations_file));
}

TEST_F(OcppSite, StationThatCannotBeKeptIsSentAway) {
  start();
  std::filesystem::remove_all(state.path());
  test_station station;
  EXPECT_EQ(station.connect(port, "/ocpp/CP-1"), 101U);
  EXPECT_EQ(station.receive(), std::nullopt);
  EXPECT_EQ(station.close_code(), 1001U);
  EXPECT_TRUE(system().on_get_charging_stations().empty());
  EXPECT_TRUE(events.all().empty());
}

TEST_F(OcppSite, ModelIsWrittenWhileTheSiteRuns) {
  start();
  auto station = connected("CP-1");
  station.call("BootNotification", {{"chargePointVendor", "Acme"}, {"chargePointModel", "X7"}});
  auto const limit = std::chrono::steady_clock::now() + std::chrono::seconds(30);
  while (content_of(options.stations_file).find("Acme") == std::string::npos) {
    ASSERT_LT(std::chrono::steady_clock::now(), limit);
    ASSERT_EQ(station.call("Heartbeat", json::object()).at(0), 3);
  }
}

TEST_F(OcppSite, ModelIsWrittenAtTheEnd) {
  start();
  auto station = connected("CP-1");
  station.call("BootNotification", {{"chargePointVendor", "Acme"}, {"chargePointModel", "X7"}});
  stop();
  EXPECT_NE(content_of(options.stations_file).find("Acme"), std::string::npos);
}

TEST_F(OcppSite, BytesSentBeforeTheAnswerAreRefused) {
  start();
  raw_client station(port);
  ASSERT_TRUE(station.send(upgrade + "\x81"));
  EXPECT_EQ(status_of(station.read_answer()), 400);
}

TEST_F(OcppSite, RequestForAPageIsToldThatAWebSocketIsWanted) {
  start();
  raw_client browser(port);
  ASSERT_TRUE(browser.send("GET /ocpp/CP-1 HTTP/1.1\r\nHost: a\r\n\r\n"));
  auto const answer = browser.read_answer();
  EXPECT_EQ(status_of(answer), 426);
  EXPECT_NE(answer.find("Upgrade: websocket\r\n"), std::string::npos);
  EXPECT_NE(answer.find("Connection: Upgrade\r\n"), std::string::npos);
  EXPECT_NE(answer.find("\r\nDate: "), std::string::npos);
  ASSERT_TRUE(browser.send(upgrade));
  EXPECT_EQ(status_of(browser.read_answer()), 101);
}

TEST_F(OcppSite, RequestWithABodyIsRefused) {
  start();
  raw_client browser(port);
  ASSERT_TRUE(browser.send("POST /ocpp/CP-1 HTTP/1.1\r\nHost: a\r\nContent-Length: 5\r\n\r\nhello"));
  EXPECT_EQ(status_of(browser.read_answer()), 400);
}

TEST_F(OcppSite, KnownStationConnectsToASiteThatTakesNoUnknownOnes) {
  state.write("stations.json", R"({"next_station":4,"next_transaction":1,"stations":[
      {"id":3,"identity":"CP-3","vendor":"","model":""}]})");
  options.is_accepting_unknown = false;
  start();
  EXPECT_EQ(connected("CP-3").call("Heartbeat", json::object()).at(0), 3);
}

TEST_F(OcppSite, StationBeyondTheLimitIsRefused) {
  options.station_limit = 1;
  start();
  auto station = connected("CP-1");
  EXPECT_EQ(test_station().connect(port, "/ocpp/CP-2"), 404U);
}

TEST_F(OcppSite, SecondConnectionIsRefusedWhileTheFirstIsAlive) {
  start();
  auto first = connected("CP-1");
  auto waiting = std::async(std::launch::async, [&] { return first.receive(); });
  EXPECT_EQ(test_station().connect(port, "/ocpp/CP-1"), 409U);
  stop();
  EXPECT_EQ(waiting.get(), std::nullopt);
  EXPECT_EQ(first.close_code(), 1001U);
}

TEST_F(OcppSite, SecondConnectionReplacesAFirstThatGivesNoSignOfLife) {
  options.ping_patience = std::chrono::milliseconds(200);
  start();
  auto first = connected("CP-1");
  ASSERT_TRUE(events.wait_for("status 1 online idle"));
  auto second = connected("CP-1");
  EXPECT_EQ(second.call("Heartbeat", json::object()).at(0), 3);
  EXPECT_EQ(events.all(),
            (texts{"created 1", "status 1 online idle", "status 1 offline idle", "status 1 online idle"}));
  EXPECT_TRUE(system().on_get_charging_station(1).value().connected);
}

TEST_F(OcppSite, OfTwoNewcomersAtOnceOneTakesThePlaceOfADeadConnection) {
  options.ping_patience = std::chrono::seconds(2);
  start();
  auto dead = connected("CP-1");
  ASSERT_TRUE(events.wait_for("status 1 online idle"));
  collector<unsigned int> statuses;
  std::vector<test_station> newcomers(2);
  std::vector<std::thread> threads;
  for (auto& newcomer : newcomers) {
    threads.emplace_back([&] {
      auto const status = newcomer.connect(port, "/ocpp/CP-1");
      statuses.add(status);
      if (status == 101) {
        newcomer.receive();
      }
    });
  }
  EXPECT_THAT(statuses.wait_for(2), testing::UnorderedElementsAre(101U, 409U));
  stop();
  for (auto& thread : threads) {
    thread.join();
  }
}

TEST_F(OcppSite, FiftyStationsAreConnectedAtOnce) {
  start();
  std::vector<test_station> stations;
  for (int number = 0; number < 50; ++number) {
    stations.push_back(connected("CP-" + std::to_string(number)));
  }
  for (auto& station : stations) {
    auto const answer =
        station.call("BootNotification", {{"chargePointVendor", "Acme"}, {"chargePointModel", "X7"}});
    ASSERT_EQ(answer.at(0), 3);
  }
  auto const known = system().on_get_charging_stations();
  EXPECT_EQ(known.size(), 50U);
  EXPECT_TRUE(std::all_of(known.begin(), known.end(),
                          [](auto const& station) { return station.connected && station.vendor == "Acme"; }));
}

TEST_F(OcppSite, SaysGoodbyeToItsStations) {
  start();
  auto station = connected("CP-1");
  auto waiting = std::async(std::launch::async, [&] { return station.receive(); });
  ASSERT_TRUE(events.wait_for("status 1 online idle"));
  stop();
  EXPECT_EQ(waiting.get(), std::nullopt);
  EXPECT_EQ(station.close_code(), 1001U);
  EXPECT_TRUE(events.wait_for("status 1 offline idle"));
}

TEST_F(OcppSite, EndsAlthoughAStationDoesNotAnswerTheGoodbye) {
  start();
  auto station = connected("CP-1");
  ASSERT_TRUE(events.wait_for("status 1 online idle"));
  stop();
  EXPECT_TRUE(events.wait_for("status 1 offline idle"));
}

TEST(CentralSystem, RequestToALoopThatDoesNotRunFails) {
  temporary_folder state;
  fake_station_events events;
  boost::asio::io_context loop;
  central_system_options options;
  options.stations_file = state.path() / "stations.json";
  fake_firmware_source firmware;
  central_system system(loop, options, events, firmware);
  EXPECT_THROW(system.on_get_charging_stations(), std::runtime_error);
}

}  // namespace
}  // namespace tavi::site::ocpp
