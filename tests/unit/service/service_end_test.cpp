#include <chrono>
#include <future>
#include <memory>
#include <ostream>
#include <string>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "held_line.h"
#include "service_fixture.h"
#include "tavi/stations/sub_charging_stations_service.h"
#include "tavi/webserver_token/sub_webserver_token_service.h"

namespace tavi::stations_maintenance {
namespace {

using namespace std::chrono_literals;

struct publishers {
  tavi::stations::pub_charging_stations_service stations;
  tavi::webserver_token::pub_webserver_token_service uploads;
};

/// An event, and what is logged while it is handled.
struct event_case {
  std::string name;
  void (*publish)(publishers&);
  std::string line;
};

void PrintTo(event_case const& row, std::ostream* out) {
  *out << row.name;
}

class ServiceEnd : public ServiceTest, public testing::WithParamInterface<event_case> {
 protected:
  /// Only reports that still have their manager are asked for again and again.
  [[nodiscard]] bool is_manager_alive() {
    for (int round = 0; round < 2; ++round) {
      log.clear();
      if (!log.wait_for(spdlog::level::info, "[diagnostic_manager] Generating period diagnostic reports",
                        60s)) {
        return false;
      }
    }
    return true;
  }
};

TEST_P(ServiceEnd, WaitsForTheEventBeingHandledBeforeAnythingThatItNeedsGoes) {
  given_configuration("period_for_automatic_generation", "period_for_automatic_generation = 1");
  publishers published;
  ASSERT_TRUE(published.stations.start());
  ASSERT_TRUE(published.uploads.start());
  held_line held(GetParam().line);
  auto one = std::make_unique<stations_maintenance_service>(logger, ocpp, tokens, network);
  ASSERT_TRUE(init(*one));
  ASSERT_TRUE(one->start());
  auto const deadline = std::chrono::steady_clock::now() + 60s;
  do {
    GetParam().publish(published);
  } while (!held.wait_for_arrival(50ms) && std::chrono::steady_clock::now() < deadline);
  ASSERT_TRUE(held.wait_for_arrival(0ms));

  auto end = std::async(std::launch::async, [&] { one.reset(); });
  EXPECT_TRUE(is_manager_alive());
  EXPECT_EQ(end.wait_for(0s), std::future_status::timeout);
  held.open();
  end.wait();
}

INSTANTIATE_TEST_SUITE_P(
    Events, ServiceEnd,
    testing::Values(event_case{"file_uploaded",
                               [](publishers& published) {
                                 published.uploads.publish_file_uploaded("token", "a.bin", "/nowhere");
                               },
                               "File a.bin uploaded on tavi"},
                    event_case{"station_created",
                               [](publishers& published) { published.stations.publish_station_created(5); },
                               "Creating directories for the diagnostic report of station 5"}),
    [](auto const& row) { return row.param.name; });

}  // namespace
}  // namespace tavi::stations_maintenance
