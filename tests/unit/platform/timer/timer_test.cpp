#include "mura_common/timer.h"

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <functional>
#include <iterator>
#include <memory>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

#include "awaited_count.h"
#include "log_capture.h"

namespace mura_common {
namespace {

using namespace std::chrono_literals;

/// Lets some expiries of a further timer go by: time in which a wrong expiry would show.
void let_time_pass(int ticks = 20) {
  awaited_count passed;
  Timer ticker;
  EXPECT_TRUE(ticker.start(1ms, false, [&] { passed.add(); }));
  EXPECT_TRUE(passed.wait_for(ticks));
}

std::ptrdiff_t number_of_threads() {
  return std::distance(std::filesystem::directory_iterator("/proc/self/task"),
                       std::filesystem::directory_iterator());
}

TEST(Timer, ExpiresOnceAsASingleShot) {
  awaited_count expiries;
  Timer timer;
  EXPECT_TRUE(timer.start(1ms, true, [&] { expiries.add(); }));
  EXPECT_TRUE(expiries.wait_for(1));
  let_time_pass();
  EXPECT_EQ(expiries.value(), 1);
}

TEST(Timer, ExpiresAgainAndAgainUntilItIsStopped) {
  awaited_count expiries;
  Timer timer;
  EXPECT_TRUE(timer.start(1ms, false, [&] { expiries.add(); }));
  EXPECT_TRUE(expiries.wait_for(10));
  EXPECT_TRUE(timer.stop());
}

TEST(Timer, NeverExpiresBeforeItsTime) {
  constexpr int wanted = 5;
  awaited_count expiries;
  std::vector<std::chrono::steady_clock::time_point> moments;
  auto const begin = std::chrono::steady_clock::now();
  Timer timer;
  EXPECT_TRUE(timer.start(20ms, false, [&] {
    if (moments.size() < wanted) {
      moments.push_back(std::chrono::steady_clock::now());
    }
    expiries.add();
  }));
  ASSERT_TRUE(expiries.wait_for(wanted));
  for (int number = 0; number < wanted; ++number) {
    EXPECT_GE(moments[static_cast<std::size_t>(number)] - begin, 20ms * (number + 1));
  }
}

TEST(Timer, CanBeStartedAgainAfterASingleShot) {
  awaited_count expiries;
  Timer timer;
  for (int round = 1; round <= 3; ++round) {
    EXPECT_TRUE(timer.start(1ms, true, [&] { expiries.add(); }));
    EXPECT_TRUE(expiries.wait_for(round));
  }
}

TEST(Timer, StartsAnewWithNewArgumentsWhileItIsArmed) {
  awaited_count first;
  awaited_count second;
  Timer timer;
  EXPECT_TRUE(timer.start(1h, false, [&] { first.add(); }));
  EXPECT_TRUE(timer.start(1ms, true, [&] { second.add(); }));
  EXPECT_TRUE(second.wait_for(1));
  let_time_pass();
  EXPECT_EQ(first.value(), 0);
  EXPECT_EQ(second.value(), 1);
}

TEST(Timer, CanBeStoppedWithoutBeingArmed) {
  Timer timer;
  EXPECT_TRUE(timer.stop());
  EXPECT_TRUE(timer.stop());
}

TEST(Timer, DoesNotExpireOnceItIsStopped) {
  awaited_count expiries;
  std::vector<std::unique_ptr<Timer>> timers;
  for (int number = 0; number < 200; ++number) {
    timers.push_back(std::make_unique<Timer>());
    EXPECT_TRUE(timers.back()->start(1ms, number % 2 == 0, [&] { expiries.add(); }));
  }
  for (auto const& timer : timers) {
    EXPECT_TRUE(timer->stop());
  }
  // Callbacks that had begun before may still count.
  let_time_pass(5);
  auto const before = expiries.value();
  let_time_pass();
  EXPECT_EQ(expiries.value(), before);
}

TEST(Timer, DoesNotExpireWhenItIsStoppedWhileItWaitsForAWorker) {
  constexpr int number_of_timers = 1000;
  awaited_count begun;
  awaited_count all_stopped;
  std::vector<std::unique_ptr<Timer>> timers;
  for (int number = 0; number < number_of_timers; ++number) {
    timers.push_back(std::make_unique<Timer>());
  }
  for (auto const& timer : timers) {
    EXPECT_TRUE(timer->start(1ms, true, [&] {
      // Whatever has a worker stays on it until the others are stopped.
      begun.add();
      EXPECT_TRUE(all_stopped.wait_for(1));
    }));
  }
  EXPECT_TRUE(begun.wait_for(1));
  for (auto const& timer : timers) {
    EXPECT_TRUE(timer->stop());
  }
  auto const before = begun.value();
  all_stopped.add();
  let_time_pass();
  // One that was just beginning when it was stopped is in flight, too.
  EXPECT_LE(begun.value(), before + 1);
  EXPECT_LT(begun.value(), number_of_timers);
}

TEST(Timer, CanBeStoppedByItsOwnCallback) {
  awaited_count expiries;
  Timer timer;
  EXPECT_TRUE(timer.start(1ms, false, [&] {
    EXPECT_TRUE(timer.stop());
    expiries.add();
  }));
  EXPECT_TRUE(expiries.wait_for(1));
  let_time_pass();
  EXPECT_EQ(expiries.value(), 1);
}

TEST(Timer, CanBeStartedByItsOwnCallback) {
  awaited_count expiries;
  awaited_count restarted;
  Timer timer;
  EXPECT_TRUE(timer.start(1ms, false, [&] {
    expiries.add();
    EXPECT_TRUE(timer.start(1ms, true, [&] { restarted.add(); }));
  }));
  EXPECT_TRUE(restarted.wait_for(1));
  let_time_pass();
  EXPECT_EQ(expiries.value(), 1);
  EXPECT_EQ(restarted.value(), 1);
}

TEST(Timer, KeepsASingleShotThatFallsIntoItsRunningCallback) {
  awaited_count expiries;
  Timer timer;
  EXPECT_TRUE(timer.start(1ms, true, [&] {
    EXPECT_TRUE(timer.start(1ms, true, [&] { expiries.add(); }));
    let_time_pass();
    EXPECT_EQ(expiries.value(), 0);
  }));
  EXPECT_TRUE(expiries.wait_for(1));
}

TEST(Timer, DropsAKeptSingleShotWhenItIsStopped) {
  awaited_count ended;
  awaited_count expiries;
  Timer timer;
  EXPECT_TRUE(timer.start(1ms, true, [&] {
    EXPECT_TRUE(timer.start(1ms, true, [&] { expiries.add(); }));
    let_time_pass();
    EXPECT_TRUE(timer.stop());
    ended.add();
  }));
  EXPECT_TRUE(ended.wait_for(1));
  let_time_pass();
  EXPECT_EQ(expiries.value(), 0);
}

TEST(Timer, NeverRunsItsCallbackTwiceAtATime) {
  std::atomic<int> inside = 0;
  std::atomic<int> most = 0;
  awaited_count expiries;
  Timer timer;
  auto const callback = [&] {
    most = std::max(most.load(), ++inside);
    if (expiries.value() < 3) {
      let_time_pass();
    }
    --inside;
    expiries.add();
  };
  EXPECT_TRUE(timer.start(1ms, false, callback));
  EXPECT_TRUE(expiries.wait_for(2));
  // Anew while a callback may be in flight.
  EXPECT_TRUE(timer.start(1ms, false, callback));
  EXPECT_TRUE(expiries.wait_for(20));
  EXPECT_TRUE(timer.stop());
  EXPECT_EQ(most, 1);
}

TEST(Timer, DoesNotMakeUpForExpiriesThatItSkipped) {
  awaited_count expiries;
  auto const begin = std::chrono::steady_clock::now();
  Timer timer;
  EXPECT_TRUE(timer.start(2ms, false, [&] {
    if (expiries.add() == 1) {
      let_time_pass(40);
    }
  }));
  EXPECT_TRUE(expiries.wait_for(10));
  auto const elapsed = std::chrono::steady_clock::now() - begin;
  // Forty milliseconds are lost to the first callback; the nine after it take their time.
  EXPECT_GE(elapsed, 40ms + 8 * 2ms);
}

TEST(Timer, IsNotDelayedByCallbacksThatBlock) {
  constexpr int number_of_blocked = 6;
  awaited_count begun;
  awaited_count release;
  std::vector<std::unique_ptr<Timer>> blocked;
  for (int number = 0; number < number_of_blocked; ++number) {
    blocked.push_back(std::make_unique<Timer>());
    EXPECT_TRUE(blocked.back()->start(1ms, true, [&] {
      begun.add();
      EXPECT_TRUE(release.wait_for(1));
    }));
  }
  EXPECT_TRUE(begun.wait_for(number_of_blocked));
  Timer timer;
  // Only this expiry lets the others return.
  EXPECT_TRUE(timer.start(1ms, true, [&] { release.add(); }));
  EXPECT_TRUE(release.wait_for(1));
}

TEST(Timer, CostsNoThreadByBeingArmed) {
  constexpr int number_of_timers = 10000;
  let_time_pass(1);
  auto const before = number_of_threads();
  std::vector<std::unique_ptr<Timer>> timers;
  for (int number = 0; number < number_of_timers; ++number) {
    timers.push_back(std::make_unique<Timer>());
    ASSERT_TRUE(timers.back()->start(1h, number % 2 == 0, [] {}));
  }
  EXPECT_LE(number_of_threads(), before);
  awaited_count expiries;
  std::atomic<std::ptrdiff_t> most = 0;
  for (auto const& timer : timers) {
    ASSERT_TRUE(timer->start(50ms, true, [&] {
      if (expiries.add() % 100 == 0) {
        most = std::max(most.load(), number_of_threads());
      }
    }));
  }
  EXPECT_TRUE(expiries.wait_for(number_of_timers));
  EXPECT_LE(most, before + 16);
  let_time_pass(5);
  EXPECT_EQ(expiries.value(), number_of_timers);
}

TEST(Timer, LogsAnExceptionAndGoesOn) {
  log_capture const log;
  awaited_count expiries;
  {
    Timer timer;
    EXPECT_TRUE(timer.start(1ms, false, [&] {
      auto const number = expiries.add();
      if (number == 1) {
        throw std::runtime_error("boom");
      }
      if (number == 2) {
        throw 42;
      }
    }));
    EXPECT_TRUE(expiries.wait_for(4));
  }
  EXPECT_TRUE(log.holds(spdlog::level::err, "[timer] a callback ended with an exception: boom"));
  EXPECT_TRUE(log.holds(spdlog::level::err, "[timer] a callback ended with an exception of unknown type"));
}

TEST(Timer, WaitsForItsCallbackWhenItIsDestroyed) {
  awaited_count begun;
  awaited_count release;
  std::atomic<bool> ended = false;
  auto timer = std::make_unique<Timer>();
  EXPECT_TRUE(timer->start(1ms, false, [&] {
    begun.add();
    EXPECT_TRUE(release.wait_for(1));
    let_time_pass(5);
    ended = true;
  }));
  EXPECT_TRUE(begun.wait_for(1));
  std::jthread const releaser([&] { release.add(); });
  timer.reset();
  EXPECT_TRUE(ended);
  EXPECT_EQ(begun.value(), 1);
}

TEST(Timer, CanBeDestroyedByTheCallbackOfAnother) {
  awaited_count expiries;
  auto first = std::make_unique<Timer>();
  EXPECT_TRUE(first->start(1ms, false, [&] { expiries.add(); }));
  EXPECT_TRUE(expiries.wait_for(1));
  awaited_count destroyed;
  Timer second;
  EXPECT_TRUE(second.start(1ms, true, [&] {
    first.reset();
    destroyed.add();
  }));
  EXPECT_TRUE(destroyed.wait_for(1));
  auto const before = expiries.value();
  let_time_pass();
  EXPECT_EQ(expiries.value(), before);
}

TEST(Timer, LetsItsCallbackGoWhenItIsNoLongerNeeded) {
  auto const owned = std::make_shared<int>(1);
  Timer timer;
  EXPECT_TRUE(timer.start(1h, false, [owned] {}));
  EXPECT_EQ(owned.use_count(), 2);
  EXPECT_TRUE(timer.start(1h, false, [] {}));
  EXPECT_EQ(owned.use_count(), 1);
  EXPECT_TRUE(timer.start(1h, false, [owned] {}));
  EXPECT_TRUE(timer.stop());
  EXPECT_EQ(owned.use_count(), 1);
}

TEST(Timer, MayBeCalledByTheEndOfWhatItsCallbackOwns) {
  Timer timer;
  awaited_count ends;
  auto const owning_callback = [&]() -> std::function<void()> {
    return [end = std::shared_ptr<void>(nullptr, [&](void*) {
              EXPECT_TRUE(timer.stop());
              ends.add();
            })] {};
  };
  EXPECT_TRUE(timer.start(1h, false, owning_callback()));
  EXPECT_TRUE(timer.start(1h, false, [] {}));
  EXPECT_EQ(ends.value(), 1);
  EXPECT_TRUE(timer.start(1h, false, owning_callback()));
  EXPECT_TRUE(timer.stop());
  EXPECT_EQ(ends.value(), 2);
  EXPECT_TRUE(timer.start(1ms, true, owning_callback()));
  EXPECT_TRUE(ends.wait_for(3));
}

TEST(Timer, CanBeUsedFromManyThreads) {
  Timer timer;
  std::atomic<int> inside = 0;
  std::atomic<int> most = 0;
  auto const callback = [&] {
    most = std::max(most.load(), ++inside);
    --inside;
  };
  {
    std::vector<std::jthread> threads;
    for (int number = 0; number < 4; ++number) {
      threads.emplace_back([&, number] {
        for (int round = 0; round < 500; ++round) {
          EXPECT_TRUE(timer.start(1ms, (round + number) % 2 == 0, callback));
          if (round % 5 == number) {
            EXPECT_TRUE(timer.stop());
          }
        }
      });
    }
  }
  EXPECT_TRUE(timer.stop());
  EXPECT_LE(most, 1);
}

struct refused_start {
  char const* name;
  std::chrono::milliseconds period;
  bool has_callback;
  char const* reason;
};

class RefusedTimerStart : public testing::TestWithParam<refused_start> {};

TEST_P(RefusedTimerStart, SaysWhyAndLeavesTheTimerAsItWas) {
  log_capture const log;
  awaited_count expiries;
  Timer timer;
  ASSERT_TRUE(timer.start(1ms, false, [&] { expiries.add(); }));
  EXPECT_FALSE(timer.start(GetParam().period, false,
                           GetParam().has_callback ? std::function<void()>([] {}) : nullptr));
  EXPECT_TRUE(log.holds(spdlog::level::err, GetParam().reason));
  EXPECT_TRUE(expiries.wait_for(expiries.value() + 2));
}

INSTANTIATE_TEST_SUITE_P(
    All, RefusedTimerStart,
    testing::Values(refused_start{"NoTime", 0ms, true, "[timer] cannot start with a period of 0 ms"},
                    refused_start{"NegativeTime", -1ms, true, "[timer] cannot start with a period of -1 ms"},
                    refused_start{"SmallestTime", std::chrono::milliseconds::min(), true,
                                  "a period of -9223"},
                    refused_start{"LargestTime", std::chrono::milliseconds::max(), true, "a period of 9223"},
                    refused_start{"NoCallback", 1ms, false, "[timer] cannot start with an empty callback"}),
    [](auto const& row) { return std::string(row.param.name); });

TEST(Timer, TakesAPeriodOfManyYears) {
  Timer timer;
  EXPECT_TRUE(timer.start(std::chrono::years(50), false, [] {}));
}

TEST(TimerDeathTest, EndsTheProcessWhenItIsDestroyedByItsOwnCallback) {
  GTEST_FLAG_SET(death_test_style, "threadsafe");
  auto const destroy = [] {
    awaited_count never;
    auto timer = std::make_unique<Timer>();
    EXPECT_TRUE(timer->start(1ms, true, [&] { timer.reset(); }));
    static_cast<void>(never.wait_for(1));
  };
  EXPECT_DEATH(destroy(), "");
}

/// Ends the process while a timer of static life is armed, whose engine may be younger than its owner.
[[noreturn]] void exit_with_static_timers() {
  static std::unique_ptr<Timer> early;
  static Timer late;
  early = std::make_unique<Timer>();
  awaited_count expiries;
  auto const started = early->start(1ms, false, [] {}) && late.start(1ms, false, [&] { expiries.add(); });
  auto const expired = started && expiries.wait_for(3) && late.stop();
  std::exit(expired ? 7 : 8);
}

TEST(TimerDeathTest, LetsTheProcessExitWhileStaticTimersAreArmed) {
  GTEST_FLAG_SET(death_test_style, "threadsafe");
  EXPECT_EXIT(exit_with_static_timers(), testing::ExitedWithCode(7), "");
}

}  // namespace
}  // namespace mura_common
