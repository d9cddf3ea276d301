#include "site.h"

#include <unistd.h>

#include <memory>
#include <string>
#include <thread>
#include <vector>

#include <nlohmann/json.hpp>

#include "../../http/raw_client.h"
#include "../ocpp/test_station.h"
#include "ipc_test.h"
#include "tavi/logger/req_resp_logger_service.h"
#include "tavi/network/req_resp_network_service.h"
#include "tavi/ocpp1_6/req_resp_ocpp_1_6_service.h"
#include "tavi/stations/sub_charging_stations_service.h"
#include "tavi/webserver_token/req_resp_webserver_token_service.h"
#include "tavi/webserver_token/sub_webserver_token_service.h"

namespace tavi::site {
namespace {

using nlohmann::json;

/// Collects what subscribers of the site are told.
class subscriber : public tavi::stations::i_sub_charging_stations_service_handler,
                   public tavi::webserver_token::i_sub_webserver_token_service_handler {
 public:
  void on_station_status(tavi::stations::charging_station_status const& status) override {
    events.add("status " + std::to_string(status.station_id) + (status.connected ? " online" : " offline"));
  }
  void on_connector_status_changed(unsigned int const& station, unsigned int const& connector,
                                   tavi::stations::charging_station_connector_status const& status) override {
    events.add("connector " + std::to_string(station) + "/" + std::to_string(connector) + " " +
               status.status);
  }
  void on_command_status(unsigned int const& station, unsigned int const& request,
                         tavi::stations::cs_request_status const& status) override {
    events.add("command " + std::to_string(station) + "/" + std::to_string(request) + " " +
               std::to_string(static_cast<unsigned int>(status)));
  }
  void on_station_created(unsigned int const& station) override {
    events.add("created " + std::to_string(station));
  }
  void on_station_deleted(unsigned int const&) override {}
  void on_file_uploaded(std::string const& token, std::string const& name, std::string const& path) override {
    uploads.add({token, name, path});
  }

  collector<std::string> events;
  collector<std::vector<std::string>> uploads;
};

class Site : public ipc_test {
 protected:
  Site() {
    options.state_folder = state.path() / "state";
    options.port = 0;
  }

  /// Has the controller ask a station for an update, and the station take it.
  /// @return the target of the location that the station is told
  static std::string ask_to_update(tavi::ocpp1_6::req_resp_ocpp_1_6_service& stations, test_station& station,
                                   std::string const& file) {
    std::thread asker([&] {
      unsigned int request = 0;
      EXPECT_EQ(stations.request_firmware_update(1, file, request), 0);
    });
    auto const call = json::parse(station.receive().value_or("[0,\"\",\"\",{}]"));
    EXPECT_TRUE(station.send(json::array({3, call.at(1), json::object()}).dump()));
    asker.join();
    auto const location = call.at(3).value("location", "");
    auto const target = location.find("/firmware/");
    return target == std::string::npos ? "/firmware/none" : location.substr(target);
  }

  temporary_folder state;
  site_options options;
};

TEST_F(Site, ServesEveryServiceOfTheController) {
  site running(options);
  ASSERT_TRUE(running.start());
  tavi::ocpp1_6::req_resp_ocpp_1_6_service stations;
  tavi::network::req_resp_network_service network;
  tavi::webserver_token::req_resp_webserver_token_service tokens;
  tavi::logger::req_resp_logger_service logger;
  EXPECT_TRUE(stations.init());
  EXPECT_TRUE(network.init());
  EXPECT_TRUE(tokens.init());
  EXPECT_TRUE(logger.init(0));
  EXPECT_TRUE(stations.get_charging_stations().empty());
  EXPECT_EQ(network.get_network_config().value().address, running.endpoint());
  EXPECT_EQ(tokens.get_upload_token("owner").value_or("").size(), 43U);
  EXPECT_EQ(running.endpoint(), "127.0.0.1:" + std::to_string(running.port()));
}

TEST_F(Site, KeepsFunctionalLogEntriesInTheStateFolder) {
  site running(options);
  ASSERT_TRUE(running.start());
  {
    tavi::logger::req_resp_logger_service logger;
    ASSERT_TRUE(logger.init(0));
    ASSERT_TRUE(logger.send_functional_log(13, tavi::logger::log_subtype::firmware_deleted, "X7 1.2"));
    // A second client's entry is written after the first one's; its answer tells that both are there.
    mura_common::request_client client("logger_service", generous);
    auto const file = options.state_folder / "event_log" / "events.jsonl";
    json reply;
    while (content_of(file).empty()) {
      ASSERT_FALSE(has_no_answer(client.call("nothing", json::array(), reply).failure));
    }
    auto const entry = json::parse(content_of(file));
    EXPECT_EQ(entry.at("category"), 13);
    EXPECT_EQ(entry.at("subtype"), 1106);
    EXPECT_EQ(entry.at("text"), "X7 1.2");
  }
}

TEST_F(Site, StationUploadsItsDiagnosticsToTheOwnerOfAToken) {
  site running(options);
  ASSERT_TRUE(running.start());
  subscriber told;
  tavi::webserver_token::sub_webserver_token_service uploads("test", told);
  ASSERT_TRUE(uploads.subscribe_to_file_uploaded());
  tavi::ocpp1_6::req_resp_ocpp_1_6_service stations;
  tavi::webserver_token::req_resp_webserver_token_service tokens;
  ASSERT_TRUE(stations.init());
  ASSERT_TRUE(tokens.init());
  test_station station;
  ASSERT_EQ(station.connect(running.port(), "/ocpp/CP-1"), 101U);
  ASSERT_EQ(station.call("Heartbeat", json::object()).at(0), 3);
  auto const token = tokens.get_upload_token("test").value();

  unsigned int request = 0;
  std::thread asker([&] {
    EXPECT_EQ(stations.request_diagnostics_upload(
                  1, "http://" + running.endpoint() + "/upload/" + token + "/", request),
              0);
  });
  auto const call = json::parse(station.receive().value_or("[0,\"\"]"));
  EXPECT_TRUE(station.send(json::array({3, call.at(1), {{"fileName", "log.zip"}}}).dump()));
  asker.join();
  EXPECT_EQ(request, 1U);

  raw_client upload(running.port());
  ASSERT_TRUE(
      upload.send("PUT /upload/" + token + "/log.zip HTTP/1.1\r\nHost: a\r\nContent-Length: 5\r\n\r\nhello"));
  EXPECT_EQ(status_of(upload.read_answer()) / 100, 2);
  auto const announced = told.uploads.wait_for(1);
  ASSERT_FALSE(announced.empty());
  EXPECT_EQ(announced[0][0], token);
  EXPECT_EQ(announced[0][1], "log.zip");
  EXPECT_EQ(content_of(announced[0][2]), "hello");
}

TEST_F(Site, StationsConnectAndUploadWhileFilesAreFetchedByWhoeverReadsNothing) {
  options.plain_connections = 6;
  options.firmware.folders = {state.path() / "store"};
  auto const file = state.write("store/7_x7.bin", std::string(32 * 1024 * 1024, 'x'));
  site running(options);
  ASSERT_TRUE(running.start());
  tavi::ocpp1_6::req_resp_ocpp_1_6_service stations;
  tavi::webserver_token::req_resp_webserver_token_service tokens;
  ASSERT_TRUE(stations.init());
  ASSERT_TRUE(tokens.init());
  test_station station;
  ASSERT_EQ(station.connect(running.port(), "/ocpp/CP-1"), 101U);
  ASSERT_EQ(station.call("Heartbeat", json::object()).at(0), 3);
  std::vector<std::unique_ptr<raw_client>> readers;
  std::vector<int> answers;
  for (int round = 0; round < 4; ++round) {
    auto const target = ask_to_update(stations, station, file.string());
    for (int number = 0; number < 3; ++number) {
      readers.push_back(std::make_unique<raw_client>(running.port()));
      ASSERT_TRUE(readers.back()->send("GET " + target + " HTTP/1.1\r\nHost: a\r\n\r\n"));
      ASSERT_TRUE(readers.back()->receive_until("\r\n\r\n"));
      answers.push_back(status_of(readers.back()->received));
      if (answers.back() != 200) {
        readers.pop_back();
      }
    }
  }
  EXPECT_EQ(answers, (std::vector<int>{200, 200, 429, 200, 503, 503, 503, 503, 503, 503, 503, 503}));

  test_station another;
  EXPECT_EQ(another.connect(running.port(), "/ocpp/CP-2"), 101U);
  raw_client upload(running.port());
  auto const token = tokens.get_upload_token("test").value();
  ASSERT_TRUE(
      upload.send("PUT /upload/" + token + "/log.zip HTTP/1.1\r\nHost: a\r\nContent-Length: 5\r\n\r\nhello"));
  EXPECT_EQ(status_of(upload.read_answer()), 201);
}

TEST_F(Site, TellsSubscribersWhatHappensToStations) {
  site running(options);
  ASSERT_TRUE(running.start());
  subscriber told;
  tavi::stations::sub_charging_stations_service events("test", told);
  ASSERT_TRUE(events.subscribe_to_station_status());
  // A subscription takes its time to reach the publisher: stations come until one of them was noticed.
  for (int number = 1; told.events.wait_for(1, std::chrono::milliseconds(100)).empty(); ++number) {
    ASSERT_LT(number, 300);
    test_station station;
    ASSERT_EQ(station.connect(running.port(), "/ocpp/CP-" + std::to_string(number)), 101U);
  }
  ASSERT_TRUE(events.subscribe_to_connector_status_changed());
  told.events.clear();
  test_station station;
  ASSERT_EQ(station.connect(running.port(), "/ocpp/last"), 101U);
  EXPECT_FALSE(told.events.wait_for(1).empty());
}

TEST_F(Site, KnowsItsStationsAfterARestart) {
  {
    site first(options);
    ASSERT_TRUE(first.start());
    test_station station;
    ASSERT_EQ(station.connect(first.port(), "/ocpp/CP-1"), 101U);
    ASSERT_EQ(
        station.call("BootNotification", {{"chargePointVendor", "Acme"}, {"chargePointModel", "X7"}}).at(0),
        3);
  }
  site second(options);
  ASSERT_TRUE(second.start());
  tavi::ocpp1_6::req_resp_ocpp_1_6_service stations;
  ASSERT_TRUE(stations.init());
  auto const known = stations.get_charging_stations();
  ASSERT_EQ(known.size(), 1U);
  EXPECT_EQ(known[0].identity, "CP-1");
  EXPECT_EQ(known[0].vendor, "Acme");
  EXPECT_FALSE(known[0].connected);
}

TEST_F(Site, SecondSiteOnTheSameStateFolderIsRefused) {
  site first(options);
  ASSERT_TRUE(first.start());
  site second(options);
  EXPECT_FALSE(second.start());
  EXPECT_TRUE(log.holds(spdlog::level::err, "another site uses it"));
}

TEST_F(Site, SecondSiteInTheSameRuntimeFolderIsRefused) {
  site first(options);
  ASSERT_TRUE(first.start());
  options.state_folder = state.path() / "other";
  site second(options);
  log.clear();
  EXPECT_FALSE(second.start());
  EXPECT_TRUE(log.holds(spdlog::level::err, "logger_service"));
}

TEST_F(Site, PortThatIsTakenIsNamed) {
  site first(options);
  ASSERT_TRUE(first.start());
  temporary_folder other_runtime;
  setenv("TAVI_RUNTIME_DIR", other_runtime.path().c_str(), 1);
  options.state_folder = state.path() / "other";
  options.port = first.port();
  site second(options);
  EXPECT_FALSE(second.start());
  EXPECT_TRUE(log.holds(spdlog::level::err, std::to_string(first.port())));
  EXPECT_EQ(second.port(), 0);
  EXPECT_EQ(second.endpoint(), "");
}

TEST_F(Site, AddressThatIsNoneIsNamed) {
  options.address = "localhost";
  site refused(options);
  EXPECT_FALSE(refused.start());
  EXPECT_TRUE(log.holds(spdlog::level::err, "localhost"));
}

TEST_F(Site, AdvertisedAddressThatIsNoneIsNamed) {
  options.advertised_address = "http://controller/";
  site refused(options);
  EXPECT_FALSE(refused.start());
  EXPECT_TRUE(log.holds(spdlog::level::err, "http://controller/"));
}

TEST_F(Site, AdvertisedAddressIsToldToTheController) {
  options.advertised_address = "controller.local:80";
  site running(options);
  ASSERT_TRUE(running.start());
  tavi::network::req_resp_network_service network;
  ASSERT_TRUE(network.init());
  EXPECT_EQ(network.get_network_config().value().address, "controller.local:80");
}

TEST_F(Site, StateFolderThatCannotBeMadeIsNamed) {
  state.write("state", "a file, not a folder");
  site refused(options);
  EXPECT_FALSE(refused.start());
  EXPECT_TRUE(log.holds(spdlog::level::err, options.state_folder.string()));
}

TEST_F(Site, StateFolderThatCannotBeWrittenIsNamed) {
  if (geteuid() == 0) {
    GTEST_SKIP() << "root may write everywhere";
  }
  std::filesystem::create_directory(options.state_folder);
  std::filesystem::permissions(options.state_folder, std::filesystem::perms(0500));
  site refused(options);
  EXPECT_FALSE(refused.start());
  EXPECT_TRUE(log.holds(spdlog::level::err, options.state_folder.string()));
}

TEST_F(Site, RuntimeFolderWhosePathIsTooLongIsRefused) {
  auto const deep = folder.path() / std::string(100, 'd');
  std::filesystem::create_directory(deep);
  setenv("TAVI_RUNTIME_DIR", deep.c_str(), 1);
  site refused(options);
  EXPECT_FALSE(refused.start());
  EXPECT_TRUE(log.holds(spdlog::level::err, deep.string()));
}

TEST_F(Site, BrokenStationsAreLeftAsTheyAre) {
  state.write("state/stations.json", "{");
  site refused(options);
  EXPECT_FALSE(refused.start());
  EXPECT_TRUE(log.holds(spdlog::level::err, "stations.json"));
  EXPECT_EQ(content_of(options.state_folder / "stations.json"), "{");
}

TEST_F(Site, StartsAgainWhereAStartHasFailed) {
  options.advertised_address = "http://";
  {
    site refused(options);
    ASSERT_FALSE(refused.start());
  }
  options.advertised_address = "";
  site running(options);
  EXPECT_TRUE(running.start());
}

TEST_F(Site, StopEndsARequestThatWaitsForAStation) {
  site running(options);
  ASSERT_TRUE(running.start());
  tavi::ocpp1_6::req_resp_ocpp_1_6_service stations;
  ASSERT_TRUE(stations.init());
  test_station station;
  ASSERT_EQ(station.connect(running.port(), "/ocpp/CP-1"), 101U);
  ASSERT_EQ(station.call("Heartbeat", json::object()).at(0), 3);
  std::thread asker([&] {
    unsigned int request = 0;
    EXPECT_NE(stations.request_diagnostics_upload(1, "http://a/", request), 0);
  });
  EXPECT_TRUE(station.receive().has_value());
  auto const begin = std::chrono::steady_clock::now();
  running.stop();
  EXPECT_LT(std::chrono::steady_clock::now() - begin, options.session.call_time_out);
  asker.join();
  running.stop();
}

}  // namespace
}  // namespace tavi::site
