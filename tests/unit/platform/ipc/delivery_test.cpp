#include "mura_common/delivery.h"

#include <algorithm>
#include <atomic>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

namespace {

using mura_common::delivery_lane_of;

TEST(DeliveryLane, IsTheSameForTheSameName) {
  auto const held = delivery_lane_of("alpha");
  ASSERT_NE(held, nullptr);
  EXPECT_EQ(delivery_lane_of("alpha"), held);
}

TEST(DeliveryLane, IsAnotherForAnotherName) {
  auto const alpha = delivery_lane_of("alpha");
  auto const beta = delivery_lane_of("beta");
  EXPECT_NE(alpha, beta);
  std::lock_guard const turn(*alpha);
  EXPECT_TRUE(beta->try_lock());
  beta->unlock();
}

TEST(DeliveryLane, GoesWithItsLastUser) {
  std::weak_ptr<mura_common::delivery_lane> const watched = delivery_lane_of("short-lived");
  EXPECT_TRUE(watched.expired());
  EXPECT_NE(delivery_lane_of("short-lived"), nullptr);
}

TEST(DeliveryLane, LetsOneInAtATimeWhenManyThreadsAskForIt) {
  std::atomic<int> inside = 0;
  std::atomic<int> most = 0;
  int turns = 0;
  auto const take_turns = [&] {
    for (int turn = 0; turn < 200; ++turn) {
      auto const lane = delivery_lane_of("crowded");
      std::lock_guard const lock(*lane);
      most = std::max(most.load(), ++inside);
      ++turns;
      --inside;
    }
  };
  auto const keep = delivery_lane_of("crowded");
  std::vector<std::thread> threads;
  for (int count = 0; count < 4; ++count) {
    threads.emplace_back(take_turns);
  }
  for (auto& thread : threads) {
    thread.join();
  }
  EXPECT_EQ(most, 1);
  EXPECT_EQ(turns, 800);
}

}  // namespace
