#include "periodic_generation.h"

#include <atomic>
#include <chrono>
#include <future>
#include <memory>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "diagnostic_fixture.h"
#include "mura_common/timer.h"

namespace tavi::stations_maintenance {
namespace {

using namespace std::chrono_literals;
using spdlog::level::err;
using spdlog::level::info;
using spdlog::level::trace;
using tavi::logger::log_subtype;
using tavi::stations::charging_station;
using testing::_;
using testing::ElementsAre;
using testing::Return;
using testing::StartsWith;

/// Far longer than any expiry takes, even on a loaded machine under a sanitizer.
constexpr auto patience = 60s;

/// Counts the runs over all stations, and holds the last one that is to be until it may finish: nothing
/// expires meanwhile.
class counted_runs {
 public:
  counted_runs(mock_ocpp& ocpp, int last) {
    ON_CALL(ocpp, get_charging_stations).WillByDefault([this, last] {
      if (++count == last) {
        reached.set_value();
        EXPECT_EQ(may_finish.get_future().wait_for(patience), std::future_status::ready);
      }
      return std::vector<charging_station>{};
    });
  }
  [[nodiscard]] bool wait_for_last() {
    return reached.get_future().wait_for(patience) == std::future_status::ready;
  }
  void finish_last() { may_finish.set_value(); }
  [[nodiscard]] int begun() const { return count; }

 private:
  std::atomic<int> count = 0;
  std::promise<void> reached;
  std::promise<void> may_finish;
};

/// Waits until a timer armed now has expired after more than a second, as one of that period would have.
void let_a_period_pass() {
  mura_common::Timer other;
  std::promise<void> expired;
  ASSERT_TRUE(other.start(1500ms, true, [&] { expired.set_value(); }));
  ASSERT_EQ(expired.get_future().wait_for(patience), std::future_status::ready);
}

class PeriodicGeneration : public DiagnosticManagerTest {
 protected:
  void expect_state(std::string const& text) {
    EXPECT_CALL(logger, send_functional_log(13, log_subtype::diagnostic_periodic_generation, text))
        .WillOnce(note_in_log);
  }
};

TEST_F(PeriodicGeneration, IsSaidToBeStoppedWithAPeriodBelowOneSecond) {
  ASSERT_TRUE(init({.period = 0s}));
  log.clear();
  expect_state("Periodic diagnostic report generation has been stopped");
  EXPECT_TRUE(manager.start_periodic_generation());
  EXPECT_THAT(
      log.lines(),
      ElementsAre(log_line{info, "[diagnostic_manager] Periodic diagnsostic report generation deactivated"},
                  log_line{trace, "told: Periodic diagnostic report generation has been stopped"}));
}

TEST_F(PeriodicGeneration, TellsItsPeriodInSecondsAndWholeHours) {
  ASSERT_TRUE(init({.period = 5400s}));
  log.clear();
  expect_state("Changing period of generation of diagnostic. Period is now 5400s (or 1 h)");
  EXPECT_TRUE(manager.start_periodic_generation());
  EXPECT_THAT(
      log.lines(),
      ElementsAre(
          log_line{trace, "told: Changing period of generation of diagnostic. Period is now 5400s (or 1 h)"},
          log_line{info,
                   "[diagnostic_manager] Started periodic diagnostic report generation. Diagnostic "
                   "will be generated each 1h(5400s)"}));
}

TEST_F(PeriodicGeneration, TellsAPeriodBelowAnHourAsNoHours) {
  ASSERT_TRUE(init({.period = 59s}));
  expect_state("Changing period of generation of diagnostic. Period is now 59s (or 0 h)");
  EXPECT_TRUE(manager.start_periodic_generation());
}

TEST_F(PeriodicGeneration, FailsWithAPeriodThatNoTimerTakes) {
  ASSERT_TRUE(init({.period = std::chrono::seconds::max()}));
  log.clear();
  expect_state(
      "ERROR : Could not restart periodic diagnostc report generation for a period of 9223372036854775807s "
      "(or 2562047788015215 h)");
  EXPECT_FALSE(manager.start_periodic_generation());
  auto const lines = log.lines();
  ASSERT_GE(lines.size(), 2U);
  EXPECT_EQ(lines[lines.size() - 2].level, trace);
  EXPECT_THAT(lines[lines.size() - 2].text, StartsWith("told: ERROR : Could not restart"));
  EXPECT_EQ(lines.back(),
            (log_line{err, "[diagnostic_manager] Could not restart priodic diagnostic report generation"}));
}

TEST_F(PeriodicGeneration, StartsAnewWithAnotherPeriod) {
  ASSERT_TRUE(init({.period = 0s}));
  expect_state("Changing period of generation of diagnostic. Period is now 7200s (or 2 h)");
  EXPECT_TRUE(manager.update_period_generation(7200s));
  expect_state("Periodic diagnostic report generation has been stopped");
  EXPECT_TRUE(manager.update_period_generation(0s));
  EXPECT_TRUE(manager.stop_periodic_generation());
}

TEST_F(PeriodicGeneration, RunsOverAllStationsAgainAndAgainUntilStopped) {
  ASSERT_TRUE(init({.period = 1s}));
  counted_runs runs(ocpp, 2);
  ASSERT_TRUE(manager.start_periodic_generation());
  ASSERT_TRUE(runs.wait_for_last());
  EXPECT_TRUE(manager.stop_periodic_generation());
  runs.finish_last();
  let_a_period_pass();
  EXPECT_EQ(runs.begun(), 2);
  EXPECT_TRUE(log.holds(info, "[diagnostic_manager] Generating period diagnostic reports"));
}

TEST_F(PeriodicGeneration, EndsWithAPeriodOfZero) {
  ASSERT_TRUE(init({.period = 1s}));
  counted_runs runs(ocpp, 1);
  ASSERT_TRUE(manager.start_periodic_generation());
  ASSERT_TRUE(runs.wait_for_last());
  EXPECT_TRUE(manager.update_period_generation(0s));
  runs.finish_last();
  let_a_period_pass();
  EXPECT_EQ(runs.begun(), 1);
}

TEST_F(PeriodicGeneration, EndsARunInProgressAtItsCurrentStationWhenTheManagerGoes) {
  auto going = std::make_unique<diagnostic_manager>(table, tokens, ocpp, network, logger);
  ASSERT_TRUE(going->init(1, 1, 1s, 1000, "reports", "zip", "sh", folder.path().string()));
  std::promise<void> asked;
  std::promise<void> answer;
  charging_station const one{1, "CS-1", "Acme", "X7-22", {}, true};
  EXPECT_CALL(ocpp, get_charging_stations).WillRepeatedly(Return(std::vector{one, one, one}));
  EXPECT_CALL(network, get_network_config)
      .WillRepeatedly(Return(tavi::network::network_config{"controller"}));
  EXPECT_CALL(tokens, get_upload_token).WillRepeatedly(Return("token"));
  EXPECT_CALL(ocpp, request_diagnostics_upload)
      .WillOnce([&](unsigned int, std::string const&, unsigned int&) {
        asked.set_value();
        EXPECT_EQ(answer.get_future().wait_for(patience), std::future_status::ready);
        return 0;
      });
  ASSERT_TRUE(going->start_periodic_generation());
  ASSERT_EQ(asked.get_future().wait_for(patience), std::future_status::ready);
  auto end = std::async(std::launch::async, [&] { going.reset(); });
  // Destruction waits for the station that is being asked, and asks no other.
  EXPECT_EQ(end.wait_for(1s), std::future_status::timeout);
  answer.set_value();
  EXPECT_EQ(end.wait_for(patience), std::future_status::ready);
}

}  // namespace
}  // namespace tavi::stations_maintenance
