#include <chrono>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <nlohmann/json.hpp>
#include <spdlog/fmt/fmt.h>

#include "ipc_test.h"
#include "mura_common/ipc.h"
#include "tavi/logger/sub_logger_service.h"
#include "tavi/stations/sub_charging_stations_service.h"
#include "tavi/webserver_token/sub_webserver_token_service.h"

namespace {

using tavi::stations::charging_station_connector_status;
using tavi::stations::charging_station_status;
using tavi::stations::cs_request_status;
using tavi::stations::i_sub_charging_stations_service_handler;
using tavi::stations::pub_charging_stations_service;
using tavi::stations::station_diagnostics_status;
using tavi::stations::sub_charging_stations_service;
using tavi::webserver_token::pub_webserver_token_service;
using tavi::webserver_token::sub_webserver_token_service;
using testing::ElementsAre;

class station_events : public i_sub_charging_stations_service_handler {
 public:
  void on_station_status(charging_station_status const& status) override {
    seen.add(fmt::format("status {} {} {}", status.station_id, status.connected,
                         static_cast<unsigned int>(status.diagnostics_status)));
  }
  void on_connector_status_changed(unsigned int const& station_id, unsigned int const& connector_id,
                                   charging_station_connector_status const& status) override {
    seen.add(
        fmt::format("connector {} {} {} {}", station_id, connector_id, status.status, status.error_code));
  }
  void on_command_status(unsigned int const& station_id, unsigned int const& request_id,
                         cs_request_status const& status) override {
    seen.add(fmt::format("command {} {} {}", station_id, request_id, static_cast<unsigned int>(status)));
  }
  void on_station_created(unsigned int const& station_id) override {
    seen.add(fmt::format("created {}", station_id));
  }
  void on_station_deleted(unsigned int const& station_id) override {
    // Number 0 is no station: the test sends it until the subscription has connected.
    if (station_id == 0) {
      connected.add(true);
    } else {
      seen.add(fmt::format("deleted {}", station_id));
    }
  }

  void on_firmware_status(unsigned int const& station_id, std::string const& status) override {
    seen.add(fmt::format("firmware {} {}", station_id, status));
  }

  collector<std::string> seen;
  collector<bool> connected;
};

class StationEvents : public ipc_test {
 protected:
  StationEvents() {
    EXPECT_TRUE(source.start());
    EXPECT_TRUE(events.subscribe_to_station_deleted());
    for (int attempt = 0;
         attempt < 3000 && receiver.connected.wait_for(1, std::chrono::milliseconds(10)).empty(); ++attempt) {
      source.publish_station_deleted(0);
    }
    EXPECT_FALSE(receiver.connected.wait_for(1).empty());
  }

  station_events receiver;
  pub_charging_stations_service source;
  sub_charging_stations_service events{"receiver", receiver};
};

TEST_F(StationEvents, ArriveWithEverythingThatTheyTell) {
  EXPECT_TRUE(events.subscribe_to_station_created());
  EXPECT_TRUE(events.subscribe_to_station_status());
  EXPECT_TRUE(events.subscribe_to_connector_status_changed());
  EXPECT_TRUE(events.subscribe_to_command_status());
  EXPECT_TRUE(events.subscribe_to_firmware_status());
  EXPECT_TRUE(source.publish_station_created(5));
  EXPECT_TRUE(source.publish_station_status({5, true, station_diagnostics_status::uploading}));
  EXPECT_TRUE(source.publish_connector_status_changed(5, 2, {"Faulted", "GroundFailure"}));
  EXPECT_TRUE(source.publish_command_status(5, 4294967295U, cs_request_status::timed_out));
  EXPECT_TRUE(source.publish_firmware_status(5, "Downloaded"));
  EXPECT_TRUE(source.publish_station_deleted(5));
  EXPECT_THAT(receiver.seen.wait_for(6),
              ElementsAre("created 5", "status 5 true 3", "connector 5 2 Faulted GroundFailure",
                          "command 5 4294967295 2", "firmware 5 Downloaded", "deleted 5"));
}

TEST_F(StationEvents, AreReceivedOnlyWhenSubscribedTo) {
  EXPECT_TRUE(source.publish_station_created(5));
  EXPECT_TRUE(source.publish_command_status(5, 1, cs_request_status::accepted));
  EXPECT_TRUE(source.publish_firmware_status(5, "Installed"));
  EXPECT_TRUE(source.publish_station_deleted(6));
  EXPECT_THAT(receiver.seen.wait_for(1), ElementsAre("deleted 6"));
}

TEST_F(StationEvents, AreDroppedWithALineWhenMalformed) {
  EXPECT_TRUE(events.subscribe_to_station_created());
  EXPECT_TRUE(source.publish("station_created", {"five"}));
  EXPECT_TRUE(source.publish("station_created", {-5}));
  EXPECT_TRUE(source.publish("station_created", nlohmann::json::array()));
  EXPECT_TRUE(source.publish_station_created(7));
  EXPECT_THAT(receiver.seen.wait_for(1), ElementsAre("created 7"));
  EXPECT_TRUE(log.holds(spdlog::level::err, "dropped event station_created of charging_stations_service"));
}

struct upload {
  std::string token;
  std::string name;
  std::string path;
  bool operator==(upload const&) const = default;
};

class upload_events : public tavi::webserver_token::i_sub_webserver_token_service_handler {
 public:
  void on_file_uploaded(std::string const& token, std::string const& file_name,
                        std::string const& file_path) override {
    if (token == "probe") {
      connected.add(true);
    } else {
      seen.add({token, file_name, file_path});
    }
  }
  collector<upload> seen;
  collector<bool> connected;
};

class UploadEvents : public ipc_test {
 protected:
  UploadEvents() {
    EXPECT_TRUE(source.start());
    EXPECT_TRUE(events.subscribe_to_file_uploaded());
    for (int attempt = 0;
         attempt < 3000 && receiver.connected.wait_for(1, std::chrono::milliseconds(10)).empty(); ++attempt) {
      source.publish_file_uploaded("probe", "", "/p");
    }
    EXPECT_FALSE(receiver.connected.wait_for(1).empty());
  }

  upload_events receiver;
  pub_webserver_token_service source;
  sub_webserver_token_service events{"receiver", receiver};
};

TEST_F(UploadEvents, ArriveWithANameThatCannotLeaveItsFolder) {
  source.publish_file_uploaded("t1", "report.zip", "/spool/1");
  source.publish_file_uploaded("t2", "../../etc/passwd", "/spool/2");
  source.publish_file_uploaded("t3", "..", "/spool/3");
  source.publish_file_uploaded("t4", "a\nb", "/spool/4");
  source.publish_file_uploaded("t5", "", "/spool/5");
  source.publish_file_uploaded("t6", std::string(500, 'x') + ".zip", "/spool/6");
  auto const all = receiver.seen.wait_for(6);
  ASSERT_EQ(all.size(), 6U);
  EXPECT_EQ(all[0], (upload{"t1", "report.zip", "/spool/1"}));
  EXPECT_EQ(all[1], (upload{"t2", "passwd", "/spool/2"}));
  EXPECT_EQ(all[2], (upload{"t3", "", "/spool/3"}));
  EXPECT_EQ(all[3], (upload{"t4", "", "/spool/4"}));
  EXPECT_EQ(all[4], (upload{"t5", "", "/spool/5"}));
  EXPECT_EQ(all[5].name.size(), 200U);
}

TEST_F(UploadEvents, ComeEvenWithoutTokenOrPathForTheReceiverToRefuse) {
  source.publish_file_uploaded("", "report.zip", "/spool/1");
  source.publish_file_uploaded("t2", "report.zip", "");
  EXPECT_THAT(receiver.seen.wait_for(2),
              ElementsAre(upload{"", "report.zip", "/spool/1"}, upload{"t2", "report.zip", ""}));
}

class log_events : public tavi::logger::i_sub_logger_service_handler {
 public:
  void on_functional_log(unsigned int const& category, unsigned int const& subtype,
                         std::string const& text) override {
    // Category 0 is nobody's: the test sends it until the subscription has connected.
    if (category == 0) {
      connected.add(true);
    } else {
      seen.add(fmt::format("{} {} {}", category, subtype, text));
    }
  }
  collector<std::string> seen;
  collector<bool> connected;
};

class LogEvents : public ipc_test {};

TEST_F(LogEvents, ArriveWithEverythingThatTheyTell) {
  log_events receiver;
  tavi::logger::pub_logger_service source;
  tavi::logger::sub_logger_service events("receiver", receiver);
  ASSERT_TRUE(source.start());
  EXPECT_TRUE(events.subscribe_to_functional_log());
  for (int attempt = 0;
       attempt < 3000 && receiver.connected.wait_for(1, std::chrono::milliseconds(10)).empty(); ++attempt) {
    source.publish_functional_log(0, 0, "");
  }
  EXPECT_TRUE(source.publish_functional_log(13, 4294967295U, "firmware \"2\" is available"));
  EXPECT_THAT(receiver.seen.wait_for(1), ElementsAre("13 4294967295 firmware \"2\" is available"));
}

}  // namespace
