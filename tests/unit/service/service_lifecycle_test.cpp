#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <chrono>
#include <future>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

#include "mura_common/database.h"
#include "mura_common/delivery.h"
#include "mura_common/timer.h"
#include "service_fixture.h"
#include "tavi/stations/sub_charging_stations_service.h"
#include "tavi/webserver_token/sub_webserver_token_service.h"

namespace tavi::stations_maintenance {
namespace {

using namespace std::chrono_literals;
using testing::InSequence;
using testing::Return;

class ServiceLifecycle : public ServiceTest {};

TEST_F(ServiceLifecycle, TouchesNothingWhenConstructed) {
  EXPECT_CALL(logger, init).Times(0);
  EXPECT_CALL(ocpp, init).Times(0);
  stations_maintenance_service const one(logger, ocpp, tokens, network);
  EXPECT_FALSE(std::filesystem::exists(folder.path() / "stations_maintenance_service.db"));
  EXPECT_EQ(one.name(), "stations_maintenance_service");
  EXPECT_TRUE(log.lines().empty());
}

TEST_F(ServiceLifecycle, InitialisesItsClientsInOrder) {
  InSequence const in_order;
  EXPECT_CALL(logger, init(0)).WillOnce(Return(true));
  EXPECT_CALL(ocpp, init()).WillOnce(Return(true));
  EXPECT_CALL(tokens, init()).WillOnce(Return(true));
  EXPECT_CALL(network, init()).WillOnce(Return(true));
  EXPECT_TRUE(init());
}

TEST_F(ServiceLifecycle, StopsAtTheFirstClientThatFails) {
  EXPECT_CALL(logger, init(0)).WillOnce(Return(false));
  EXPECT_CALL(ocpp, init()).Times(0);
  EXPECT_FALSE(init());
}

TEST_F(ServiceLifecycle, StopsAtTheOcppClient) {
  EXPECT_CALL(ocpp, init()).WillOnce(Return(false));
  EXPECT_CALL(tokens, init()).Times(0);
  EXPECT_FALSE(init());
}

TEST_F(ServiceLifecycle, StopsAtTheTokenClient) {
  EXPECT_CALL(tokens, init()).WillOnce(Return(false));
  EXPECT_CALL(network, init()).Times(0);
  EXPECT_FALSE(init());
}

TEST_F(ServiceLifecycle, StopsAtTheNetworkClientBeforeItsTable) {
  EXPECT_CALL(network, init()).WillOnce(Return(false));
  EXPECT_FALSE(init());
  EXPECT_FALSE(log.holds(spdlog::level::info, "[diagnostic_table] Init database"));
}

TEST_F(ServiceLifecycle, StopsAtASubscriptionThatCannotBeMade) {
  setenv("TAVI_RUNTIME_DIR", ("/" + std::string(200, 'x')).c_str(), 1);
  EXPECT_FALSE(init());
  EXPECT_FALSE(log.holds(spdlog::level::info, "[diagnostic_table] Init database"));
}

TEST_F(ServiceLifecycle, StopsAtATableThatCannotBeUsed) {
  {
    mura_common::sqlite_database database;
    ASSERT_TRUE(database.open(folder.path() / "stations_maintenance_service.db"));
    auto const query = database.create_query("CREATE VIEW DiagnosticReports AS SELECT 1");
    ASSERT_TRUE(query->execute());
  }
  EXPECT_FALSE(init());
  EXPECT_TRUE(log.holds(spdlog::level::critical,
                        "[diagnostic_table] Error while create queries for DiagnosticReports table"));
  EXPECT_FALSE(std::filesystem::exists(folder.path() / "reports"));
}

TEST_F(ServiceLifecycle, RunsPeriodicGenerationFromStartToStop) {
  given_configuration("period_for_automatic_generation", "period_for_automatic_generation = 1");
  ASSERT_TRUE(init());
  std::string const run = "[diagnostic_manager] Generating period diagnostic reports";
  ASSERT_TRUE(service.start());
  ASSERT_TRUE(log.wait_for(spdlog::level::info, run, 60s));
  ASSERT_TRUE(service.stop(0));
  log.clear();
  // A witness of the same period, armed later: had the service's timer gone on, it would have expired before.
  mura_common::Timer witness;
  std::promise<void> twice;
  int expiries = 0;
  ASSERT_TRUE(witness.start(1s, false, [&] {
    if (++expiries == 2) {
      twice.set_value();
    }
  }));
  ASSERT_EQ(twice.get_future().wait_for(60s), std::future_status::ready);
  EXPECT_FALSE(log.holds(spdlog::level::info, run));
}

TEST_F(ServiceLifecycle, SaysSoWhenThereIsNoPeriodicGeneration) {
  ASSERT_TRUE(init());
  EXPECT_CALL(logger, send_functional_log(13, tavi::logger::log_subtype::diagnostic_periodic_generation,
                                          "Periodic diagnostic report generation has been stopped"));
  EXPECT_TRUE(service.start());
  EXPECT_TRUE(service.stop(0));
}

TEST_F(ServiceLifecycle, DoesNotStartWithAPeriodThatNoTimerTakes) {
  given_configuration("period_for_automatic_generation",
                      "period_for_automatic_generation = 9223372036854775807");
  ASSERT_TRUE(init());
  EXPECT_FALSE(service.start());
}

/// The events that reach an initialised service, from publishers of the test's own.
class ServiceEvents : public ServiceTest {
 protected:
  void SetUp() override {
    ASSERT_TRUE(stations.start());
    ASSERT_TRUE(uploads.start());
    ASSERT_TRUE(init());
  }

  /// Publishes again and again, as subscribers may come late, until a log line shows that it was received.
  template <typename Publish>
  [[nodiscard]] bool is_received(Publish publish, std::string const& line) {
    auto const deadline = std::chrono::steady_clock::now() + 60s;
    while (std::chrono::steady_clock::now() < deadline) {
      publish();
      if (log.wait_for(spdlog::level::info, line, 50ms)) {
        return true;
      }
    }
    return false;
  }

  /// Waits until the event that is being handled has been: no other one holds the service's turn meanwhile.
  static void wait_until_handled() {
    auto const lane = mura_common::delivery_lane_of("stations_maintenance_service");
    std::lock_guard const turn(*lane);
  }

  tavi::stations::pub_charging_stations_service stations;
  tavi::webserver_token::pub_webserver_token_service uploads;
};

TEST_F(ServiceEvents, MakeAndRemoveAStationsDirectories) {
  ASSERT_TRUE(is_received([&] { stations.publish_station_created(5); },
                          "Creating directories for the diagnostic report of station 5"));
  wait_until_handled();
  ASSERT_TRUE(std::filesystem::exists(folder.path() / "reports/station_5"));
  // Deleted, then made again: the second line can only come after the first directory is gone.
  log.clear();
  EXPECT_TRUE(is_received(
      [&] {
        stations.publish_station_deleted(5);
        stations.publish_station_created(5);
      },
      "Creating directories for the diagnostic report of station 5"));
}

TEST_F(ServiceEvents, TellOfUploadsThatAreNotItsOwn) {
  EXPECT_TRUE(is_received([&] { uploads.publish_file_uploaded("token", "a.bin", "/nowhere"); },
                          "File a.bin uploaded on tavi"));
}

}  // namespace
}  // namespace tavi::stations_maintenance
