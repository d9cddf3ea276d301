#include "timer/timer_workers.h"

#include <atomic>
#include <memory>
#include <mutex>
#include <set>
#include <thread>

#include <gtest/gtest.h>

#include "awaited_count.h"

namespace mura_common {
namespace {

/// Counts when the thread that it lives on ends.
struct end_of_thread {
  awaited_count* ended = nullptr;
  ~end_of_thread() {
    if (ended != nullptr) {
      ended->add();
    }
  }
};

thread_local end_of_thread this_end;

TEST(TimerWorkers, RunShortJobsOnOneThread) {
  awaited_count done;
  std::mutex mutex;
  std::set<std::thread::id> threads;
  timer_workers workers;
  for (int number = 0; number < 5000; ++number) {
    workers.submit([&] {
      {
        std::lock_guard const lock(mutex);
        threads.insert(std::this_thread::get_id());
      }
      done.add();
    });
  }
  EXPECT_TRUE(done.wait_for(5000));
  EXPECT_EQ(threads.size(), 1U);
  EXPECT_EQ(threads.count(std::this_thread::get_id()), 0U);
}

TEST(TimerWorkers, RunJobsInTheirOrder) {
  awaited_count done;
  std::atomic<int> expected = 0;
  timer_workers workers;
  for (int number = 0; number < 100; ++number) {
    workers.submit([&, number] {
      EXPECT_EQ(expected++, number);
      done.add();
    });
  }
  EXPECT_TRUE(done.wait_for(100));
}

TEST(TimerWorkers, GetAFurtherThreadForEachThatBlocks) {
  awaited_count begun;
  awaited_count release;
  timer_workers workers;
  for (int number = 1; number <= 5; ++number) {
    workers.submit([&] {
      begun.add();
      EXPECT_TRUE(release.wait_for(1));
    });
    while (workers.relieve() && begun.value() < number) {
      std::this_thread::yield();
    }
    EXPECT_TRUE(begun.wait_for(number));
  }
  EXPECT_EQ(begun.value(), 5);
  release.add();
}

TEST(TimerWorkers, NeedNoReliefWithoutJobs) {
  awaited_count done;
  timer_workers workers;
  EXPECT_FALSE(workers.relieve());
  workers.submit([&] { done.add(); });
  EXPECT_TRUE(done.wait_for(1));
  EXPECT_FALSE(workers.relieve());
}

TEST(TimerWorkers, EndWhenTheyAreIdleExceptOne) {
  awaited_count begun;
  awaited_count ended;
  awaited_count release;
  timer_workers workers;
  for (int number = 1; number <= 3; ++number) {
    workers.submit([&] {
      this_end.ended = &ended;
      begun.add();
      EXPECT_TRUE(release.wait_for(1));
    });
    while (workers.relieve() && begun.value() < number) {
      std::this_thread::yield();
    }
    EXPECT_TRUE(begun.wait_for(number));
  }
  release.add();
  EXPECT_TRUE(ended.wait_for(2));
  awaited_count done;
  workers.submit([&] { done.add(); });
  EXPECT_TRUE(done.wait_for(1));
  EXPECT_EQ(ended.value(), 2);
}

TEST(TimerWorkers, DropWhatIsQueuedAndWaitForWhatRuns) {
  awaited_count begun;
  awaited_count release;
  std::atomic<bool> ended = false;
  auto const owned = std::make_shared<int>(1);
  auto workers = std::make_unique<timer_workers>();
  workers->submit([&] {
    begun.add();
    EXPECT_TRUE(release.wait_for(1));
    ended = true;
  });
  EXPECT_TRUE(begun.wait_for(1));
  for (int number = 0; number < 10; ++number) {
    workers->submit([owned] {});
  }
  EXPECT_EQ(owned.use_count(), 11);
  std::jthread const releaser([&] { release.add(); });
  workers.reset();
  EXPECT_TRUE(ended);
  EXPECT_EQ(owned.use_count(), 1);
}

}  // namespace
}  // namespace mura_common
