#include "timer/timer_schedule.h"

#include <string>

#include <gtest/gtest.h>

namespace mura_common {
namespace {

using namespace std::chrono_literals;
using moment = std::chrono::steady_clock::time_point;

struct schedule_row {
  char const* name;
  std::chrono::nanoseconds now;
  std::chrono::nanoseconds expected;
};

class NextExpiry : public testing::TestWithParam<schedule_row> {};

TEST_P(NextExpiry, KeepsToTheSchedule) {
  moment const due{100ms};
  EXPECT_EQ(next_expiry(due, 10ms, moment{GetParam().now}), moment{GetParam().expected});
}

INSTANTIATE_TEST_SUITE_P(All, NextExpiry,
                         testing::Values(schedule_row{"InTime", 100ms, 110ms},
                                         schedule_row{"ALittleLate", 100ms + 1ns, 110ms},
                                         schedule_row{"JustBeforeTheNext", 110ms - 1ns, 110ms},
                                         schedule_row{"AtTheNext", 110ms, 120ms},
                                         schedule_row{"AfterSeveral", 156ms, 160ms},
                                         schedule_row{"MuchLater", 1h + 5ms, 1h + 10ms}),
                         [](auto const& row) { return std::string(row.param.name); });

TEST(CountablePeriod, LeavesRoomForTheExpiryAfterTheNext) {
  auto const now = moment{24h};
  auto const longest = std::chrono::floor<std::chrono::milliseconds>((moment::max() - now) / 2);
  EXPECT_TRUE(is_countable(1ms, now));
  EXPECT_TRUE(is_countable(longest, now));
  EXPECT_FALSE(is_countable(longest + 1ms, now));
  EXPECT_FALSE(is_countable(std::chrono::milliseconds::max(), now));
}

}  // namespace
}  // namespace mura_common
