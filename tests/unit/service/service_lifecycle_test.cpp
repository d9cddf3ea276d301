#include <atomic>
#include <chrono>
#include <filesystem>
#include <future>
#include <memory>
#include <mutex>
#include <string>
#include <thread>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "mock_stations_maintenance_handler.h"
#include "mura_common/delivery.h"
#include "mura_common/ipc.h"
#include "mura_common/timer.h"
#include "service_fixture.h"
#include "stations_maintenance/req_resp_stations_maintenance_service.h"
#include "stations_maintenance/req_resp_stations_maintenance_service_handler.h"
#include "tavi/stations/sub_charging_stations_service.h"

namespace tavi::stations_maintenance {
namespace {

using namespace std::chrono_literals;
using mura_common::call_failure;
using tavi::logger::log_subtype;
using testing::_;

class ServiceLifecycle : public ServiceTest {
 protected:
  /// What a request comes to that waits only briefly.
  [[nodiscard]] static call_failure ask_briefly() {
    req_resp_stations_maintenance_service client({.start = 200ms, .query = 200ms, .station = 200ms});
    return client.get_configuration().failure;
  }
  /// What a request comes to that has all the time it needs.
  [[nodiscard]] static call_failure ask() {
    req_resp_stations_maintenance_service client({.start = 60s, .query = 60s, .station = 60s});
    return client.get_configuration().failure;
  }
};

TEST_F(ServiceLifecycle, TouchesNothingWhenConstructed) {
  EXPECT_CALL(logger, init).Times(0);
  EXPECT_CALL(ocpp, init).Times(0);
  stations_maintenance_service const one(logger, ocpp, tokens, network);
  EXPECT_FALSE(std::filesystem::exists(folder.path() / "stations_maintenance_service.db"));
  EXPECT_EQ(one.name(), "stations_maintenance_service");
  EXPECT_TRUE(log.lines().empty());
}

TEST_F(ServiceLifecycle, BeginsAgainOverWhatThePreviousOneLeft) {
  {
    stations_maintenance_service previous(logger, ocpp, tokens, network);
    ASSERT_TRUE(init(previous));
    ASSERT_TRUE(previous.start());
    ASSERT_TRUE(previous.stop(0));
  }
  EXPECT_TRUE(init());
  EXPECT_TRUE(service.start());
}

TEST_F(ServiceLifecycle, AnswersRequestsFromStartToStop) {
  ASSERT_TRUE(init());
  EXPECT_EQ(ask_briefly(), call_failure::not_reached);
  ASSERT_TRUE(service.start());
  EXPECT_EQ(ask(), call_failure::none);
  ASSERT_TRUE(service.stop(0));
  EXPECT_EQ(ask_briefly(), call_failure::not_reached);
  ASSERT_TRUE(service.start());
  EXPECT_EQ(ask(), call_failure::none);
}

TEST_F(ServiceLifecycle, LetsRequestsWaitForTheirTurn) {
  ASSERT_TRUE(init());
  ASSERT_TRUE(service.start());
  {
    auto const lane = mura_common::delivery_lane_of("stations_maintenance_service");
    std::lock_guard const turn(*lane);
    EXPECT_TRUE(has_no_answer(ask_briefly()));
  }
  EXPECT_EQ(ask(), call_failure::none);
}

TEST_F(ServiceLifecycle, LeavesGenerationUnarmedWhileAnotherServerHoldsItsEndpoint) {
  given_configuration("period_for_automatic_generation", "period_for_automatic_generation = 3600");
  ASSERT_TRUE(init());
  mura_common::request_server other("stations_maintenance_service");
  ASSERT_TRUE(other.start());
  EXPECT_CALL(logger, send_functional_log(_, log_subtype::diagnostic_periodic_generation, _)).Times(0);
  EXPECT_FALSE(service.start());
  EXPECT_TRUE(log.holds(spdlog::level::err, "is held by another server already"));
  testing::Mock::VerifyAndClearExpectations(&logger);

  ASSERT_TRUE(other.stop());
  EXPECT_CALL(logger, send_functional_log(_, log_subtype::diagnostic_periodic_generation, _)).Times(1);
  EXPECT_TRUE(service.start());
}

TEST_F(ServiceLifecycle, GoesOnAnsweringWhenGenerationCannotBeStarted) {
  given_configuration("period_for_automatic_generation",
                      "period_for_automatic_generation = 9223372036854775807");
  ASSERT_TRUE(init());
  EXPECT_FALSE(service.start());
  EXPECT_EQ(ask(), call_failure::none);
  EXPECT_TRUE(
      log.holds(spdlog::level::err,
                "'diagnostic_report.period_for_automatic_generation' is 9223372036854775807, a period "
                "in seconds that no timer can count: set it to 0"));
}

TEST_F(ServiceLifecycle, GoesOnGeneratingUntilTheRequestBeingHandledAtItsStopHasEnded) {
  given_configuration("period_for_automatic_generation", "period_for_automatic_generation = 1");
  std::promise<void> begun;
  std::promise<void> may_end;
  EXPECT_CALL(ocpp, get_charging_station(4)).WillOnce([&] {
    begun.set_value();
    may_end.get_future().wait();
    return std::optional<tavi::stations::charging_station>();
  });
  ASSERT_TRUE(init());
  ASSERT_TRUE(service.start());
  req_resp_stations_maintenance_service client({.start = 60s, .query = 60s, .station = 60s});
  auto request = std::async(std::launch::async, [&] { return client.get_charging_station_firmware(4); });
  begun.get_future().wait();
  auto stop = std::async(std::launch::async, [&] { return service.stop(0); });
  // The second run is certainly one after the stop has begun.
  for (int round = 0; round < 2; ++round) {
    log.clear();
    EXPECT_TRUE(
        log.wait_for(spdlog::level::info, "[diagnostic_manager] Generating period diagnostic reports", 60s));
  }
  may_end.set_value();
  EXPECT_TRUE(stop.get());
  EXPECT_EQ(request.get().failure, call_failure::none);
}

/// Requests and events that come one after the other, as long as it lives.
class traffic {
 public:
  traffic() {
    EXPECT_TRUE(stations.start());
    requests = std::thread([this] {
      req_resp_stations_maintenance_service client({.start = 1s, .query = 1s, .station = 1s});
      while (!is_over) {
        auto const answer = client.get_firmwares();
        answered += answer.value ? 1 : 0;
        refused += answer.value || has_no_answer(answer.failure) ? 0 : 1;
      }
    });
    events = std::thread([this] {
      for (unsigned int id = 1; !is_over; id = id % 50 + 1) {
        stations.publish_station_created(id);
        stations.publish_station_deleted(id);
        ++rounds;
      }
    });
  }
  ~traffic() {
    is_over = true;
    requests.join();
    events.join();
  }
  traffic(traffic const&) = delete;
  traffic& operator=(traffic const&) = delete;

  std::atomic<unsigned int> answered = 0;
  std::atomic<unsigned int> refused = 0;
  std::atomic<unsigned int> rounds = 0;

 private:
  tavi::stations::pub_charging_stations_service stations;
  std::atomic<bool> is_over = false;
  std::thread requests;
  std::thread events;
};

TEST_F(ServiceLifecycle, EndsWhileRequestsAndEventsComeIn) {
  auto one = std::make_unique<stations_maintenance_service>(logger, ocpp, tokens, network);
  ASSERT_TRUE(init(*one));
  ASSERT_TRUE(one->start());
  traffic running;
  ASSERT_TRUE(log.wait_for(spdlog::level::info, "Creating directories for the diagnostic report", 60s));
  while (running.answered < 10) {
    std::this_thread::yield();
  }
  one.reset();
  log.clear();
  // Requests may reach whoever serves the endpoint next, which is to answer them as the service does.
  testing::NiceMock<mock_stations_maintenance_handler> next_handler;
  req_resp_stations_maintenance_service_handler next(next_handler);
  EXPECT_TRUE(next.start());
  for (auto const last = running.rounds + 100; running.rounds < last;) {
    std::this_thread::yield();
  }
  EXPECT_EQ(running.refused, 0U);
  EXPECT_FALSE(log.holds(spdlog::level::info, "Creating directories for the diagnostic report"));
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

}  // namespace
}  // namespace tavi::stations_maintenance
