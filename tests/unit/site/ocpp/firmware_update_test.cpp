#include <chrono>
#include <future>
#include <ostream>
#include <string>
#include <vector>

#include "date_time.h"
#include "ocpp_site.h"

namespace tavi::site::ocpp {
namespace {

using nlohmann::json;
using texts = std::vector<std::string>;

constexpr auto file = "/store/1_x7.bin";

/// What the controller got for its request.
struct requested_update {
  int answer = -1;
  unsigned int number = 77;
};

class FirmwareUpdate : public OcppSite {
 protected:
  /// Asks in the background, as another service of the controller does.
  std::future<requested_update> request(unsigned int station_id, std::string const& path = file) {
    return std::async(std::launch::async, [this, station_id, path] {
      requested_update got;
      got.answer = system().on_request_firmware_update(station_id, path, got.number);
      return got;
    });
  }

  /// Receives the site's call.
  static json received_call(test_station& station) {
    auto call = json::parse(station.receive().value_or("[0,\"\",\"\",{}]"));
    EXPECT_EQ(call.at(0), 2);
    EXPECT_EQ(call.at(2), "UpdateFirmware");
    return call;
  }
};

TEST_F(FirmwareUpdate, StationIsToldWhereAndWhenToFetchTheFile) {
  options.update.retries = 5;
  options.update.retry_interval = std::chrono::seconds(90);
  start();
  auto station = connected("CP-1");
  ASSERT_TRUE(events.wait_for("status 1 online idle"));
  auto const before = ocpp_wire::to_utc_iso8601(std::chrono::system_clock::now());
  auto waiting = request(1);
  auto const call = received_call(station);
  auto const after = ocpp_wire::to_utc_iso8601(std::chrono::system_clock::now());
  ASSERT_TRUE(station.send(json::array({3, call.at(1), json::object()}).dump()));

  auto const got = waiting.get();
  EXPECT_EQ(got.answer, 0);
  EXPECT_EQ(got.number, 1U);
  EXPECT_TRUE(events.wait_for("command 1/1 0"));
  auto payload = call.at(3);
  EXPECT_GE(payload.at("retrieveDate").get<std::string>(), before);
  EXPECT_LE(payload.at("retrieveDate").get<std::string>(), after);
  payload.erase("retrieveDate");
  EXPECT_EQ(payload,
            json({{"location", "http://site/firmware/t1/1_x7.bin"}, {"retries", 5}, {"retryInterval", 90}}));
  EXPECT_EQ(firmware.offers(), texts{"1 /store/1_x7.bin"});
  EXPECT_TRUE(firmware.withdrawn().empty());
}

TEST_F(FirmwareUpdate, EveryRequestHasALocationAndANumberOfItsOwn) {
  start();
  auto station = connected("CP-1");
  ASSERT_TRUE(events.wait_for("status 1 online idle"));
  for (unsigned int number = 1; number <= 2; ++number) {
    auto waiting = request(1);
    auto const call = received_call(station);
    EXPECT_EQ(call.at(3).at("location"), "http://site/firmware/t" + std::to_string(number) + "/1_x7.bin");
    ASSERT_TRUE(station.send(json::array({3, call.at(1), nullptr}).dump()));
    auto const got = waiting.get();
    EXPECT_EQ(got.answer, 0);
    EXPECT_EQ(got.number, number);
  }
}

TEST_F(FirmwareUpdate, NumbersGoOnFromThoseOfDiagnostics) {
  start();
  auto station = connected("CP-1");
  ASSERT_TRUE(events.wait_for("status 1 online idle"));
  auto diagnostics = std::async(std::launch::async, [this] {
    unsigned int number = 0;
    system().on_request_diagnostics_upload(1, "http://site/upload/t/", number);
    return number;
  });
  auto const first = json::parse(station.receive().value_or("[0,\"\"]"));
  ASSERT_TRUE(station.send(json::array({3, first.at(1), {{"fileName", "log.zip"}}}).dump()));
  EXPECT_EQ(diagnostics.get(), 1U);
  auto waiting = request(1);
  ASSERT_TRUE(station.send(json::array({3, received_call(station).at(1), json::object()}).dump()));
  EXPECT_EQ(waiting.get().number, 2U);
}

TEST_F(FirmwareUpdate, StationThatRefusesIsToldToTheControllerAndItsLocationWithdrawn) {
  start();
  auto station = connected("CP-1");
  ASSERT_TRUE(events.wait_for("status 1 online idle"));
  auto waiting = request(1);
  auto const id = received_call(station).at(1);
  ASSERT_TRUE(station.send(json::array({4, id, "NotSupported", "no updates", json::object()}).dump()));
  auto const got = waiting.get();
  EXPECT_EQ(got.answer, 4);
  EXPECT_EQ(got.number, 1U);
  EXPECT_TRUE(events.wait_for("command 1/1 1"));
  EXPECT_EQ(firmware.withdrawn(), texts{"t1"});
}

TEST_F(FirmwareUpdate, StationThatDoesNotAnswerMayFetchTheFileAllTheSame) {
  options.session.call_time_out = std::chrono::milliseconds(300);
  start();
  auto station = connected("CP-1");
  ASSERT_TRUE(events.wait_for("status 1 online idle"));
  EXPECT_EQ(request(1).get().answer, 4);
  EXPECT_TRUE(events.wait_for("command 1/1 2"));
  EXPECT_TRUE(firmware.withdrawn().empty());
}

TEST_F(FirmwareUpdate, StationThatDisconnectsFailsTheWaitingRequestAtOnce) {
  start();
  auto station = connected("CP-1");
  ASSERT_TRUE(events.wait_for("status 1 online idle"));
  auto waiting = request(1);
  received_call(station);
  auto const begin = std::chrono::steady_clock::now();
  station.cut();
  EXPECT_EQ(waiting.get().answer, 4);
  EXPECT_LT(std::chrono::steady_clock::now() - begin, options.session.call_time_out);
  EXPECT_TRUE(events.wait_for("command 1/1 2"));
}

TEST_F(FirmwareUpdate, UnknownStationIsToldApartWhateverTheFile) {
  start();
  for (auto const* path : {file, "/none"}) {
    auto const got = request(7, path).get();
    EXPECT_EQ(got.answer, 1);
    EXPECT_EQ(got.number, 0U);
  }
  EXPECT_TRUE(firmware.offers().empty());
}

TEST_F(FirmwareUpdate, StationThatIsNotConnectedIsToldApartWhateverTheFile) {
  start();
  connected("CP-1").close();
  ASSERT_TRUE(events.wait_for("status 1 offline idle"));
  for (auto const* path : {file, "/none"}) {
    auto const got = request(1, path).get();
    EXPECT_EQ(got.answer, 2);
    EXPECT_EQ(got.number, 0U);
  }
  EXPECT_TRUE(firmware.offers().empty());
}

TEST_F(FirmwareUpdate, FileThatMayNotBeDeliveredIsToldApartAndTheStationNotAsked) {
  start();
  auto station = connected("CP-1");
  ASSERT_TRUE(events.wait_for("status 1 online idle"));
  auto const got = request(1, "/etc/passwd").get();
  EXPECT_EQ(got.answer, 3);
  EXPECT_EQ(got.number, 0U);
  EXPECT_TRUE(firmware.offers().empty());
  // The next thing that the station hears is the answer to its own call.
  EXPECT_EQ(station.call("Heartbeat", json::object()).at(0), 3);
}

TEST_F(FirmwareUpdate, WithoutALocationTheStationIsNotAsked) {
  firmware.is_out_of_tokens = true;
  start();
  auto station = connected("CP-1");
  ASSERT_TRUE(events.wait_for("status 1 online idle"));
  auto const got = request(1).get();
  EXPECT_EQ(got.answer, 4);
  EXPECT_EQ(got.number, 0U);
  EXPECT_EQ(station.call("Heartbeat", json::object()).at(0), 3);
}

TEST_F(FirmwareUpdate, WhatTheStationTellsOfItIsAnnounced) {
  start();
  auto station = connected("CP-1");
  for (auto const* status : {"Downloading", "Downloaded", "Installing", "Installed"}) {
    EXPECT_EQ(station.call("FirmwareStatusNotification", {{"status", status}}).at(0), 3);
    EXPECT_TRUE(events.wait_for(std::string("firmware 1 ") + status));
  }
}

}  // namespace
}  // namespace tavi::site::ocpp
