#include "handed_in_events.h"

#include <filesystem>
#include <stdexcept>
#include <system_error>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "log_capture.h"

namespace tavi::stations_maintenance {
namespace {

using testing::ElementsAre;
using testing::StrictMock;
using testing::Throw;

struct mock_uploads : tavi::webserver_token::i_sub_webserver_token_service_handler {
  MOCK_METHOD(void, on_file_uploaded,
              (std::string const& token, std::string const& file_name, std::string const& file_path),
              (override));
};

struct mock_stations : tavi::stations::i_sub_charging_stations_service_handler {
  MOCK_METHOD(void, on_station_status, (tavi::stations::charging_station_status const&), (override));
  MOCK_METHOD(void, on_connector_status_changed,
              (unsigned int const&, unsigned int const&,
               tavi::stations::charging_station_connector_status const&),
              (override));
  MOCK_METHOD(void, on_command_status,
              (unsigned int const&, unsigned int const&, tavi::stations::cs_request_status const&),
              (override));
  MOCK_METHOD(void, on_station_created, (unsigned int const&), (override));
  MOCK_METHOD(void, on_station_deleted, (unsigned int const&), (override));
};

class HandedInEvents : public testing::Test {
 protected:
  log_capture log;
  StrictMock<mock_uploads> uploads;
  StrictMock<mock_stations> stations;
  handed_in_events events{"some_service", uploads, stations};
};

TEST_F(HandedInEvents, GoWhereASubscriptionWouldGiveThem) {
  testing::InSequence const in_order;
  EXPECT_CALL(uploads, on_file_uploaded("token", "a.bin", "/spool/7"));
  EXPECT_CALL(stations, on_station_created(5));
  EXPECT_CALL(stations, on_station_deleted(6));
  events.on_file_uploaded("token", "a.bin", "/spool/7");
  events.on_station_created(5);
  events.on_station_deleted(6);
}

TEST_F(HandedInEvents, CarryNoMoreOfANameThanIsHarmless) {
  EXPECT_CALL(uploads, on_file_uploaded("token", "passwd", "/spool/7"));
  EXPECT_CALL(uploads, on_file_uploaded("token", "", "/spool/8"));
  events.on_file_uploaded("token", "../../etc/passwd", "/spool/7");
  events.on_file_uploaded("token", "..", "/spool/8");
}

TEST_F(HandedInEvents, ThatTheServiceHasNoUseForGoNowhere) {
  events.on_station_status({});
  events.on_connector_status_changed(1, 2, {});
  events.on_command_status(1, 2, {});
}

TEST_F(HandedInEvents, WhoseHandlingThrowsAreDroppedAndTheNextOneIsHandled) {
  EXPECT_CALL(uploads, on_file_uploaded).WillOnce(Throw(std::runtime_error("no disk")));
  EXPECT_CALL(stations, on_station_created(5)).WillOnce(Throw(std::runtime_error("no disk either")));
  EXPECT_CALL(stations, on_station_deleted(5));
  events.on_file_uploaded("token", "a.bin", "/spool/7");
  events.on_station_created(5);
  events.on_station_deleted(5);
  auto const line = [](std::string const& text) {
    return log_line{spdlog::level::err, "[station maintenance service] dropped event " + text};
  };
  EXPECT_THAT(log.lines(), ElementsAre(line("file_uploaded of the host: no disk"),
                                       line("station_created of the host: no disk either")));
}

}  // namespace
}  // namespace tavi::stations_maintenance
