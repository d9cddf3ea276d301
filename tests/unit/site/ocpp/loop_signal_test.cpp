#include "ocpp/loop_signal.h"

#include <boost/asio/co_spawn.hpp>
#include <boost/asio/detached.hpp>
#include <boost/asio/io_context.hpp>
#include <gtest/gtest.h>

namespace tavi::site::ocpp {
namespace {

using std::chrono::steady_clock;

class LoopSignal : public testing::Test {
 protected:
  /// Lets one more coroutine wait for the signal.
  void wait(steady_clock::time_point deadline) {
    boost::asio::co_spawn(loop, wait_once(deadline), boost::asio::detached);
  }

  boost::asio::awaitable<void> wait_once(steady_clock::time_point deadline) {
    co_await signal.wait_until(deadline);
    ++woken;
  }

  boost::asio::io_context loop;
  loop_signal signal{loop.get_executor()};
  int woken = 0;
};

TEST_F(LoopSignal, WakesEveryoneWhoWaits) {
  wait(steady_clock::time_point::max());
  wait(steady_clock::time_point::max());
  loop.poll();
  EXPECT_EQ(woken, 0);
  signal.notify();
  loop.restart();
  loop.poll();
  EXPECT_EQ(woken, 2);
}

TEST_F(LoopSignal, WakesAtTheDeadlineWithoutANotification) {
  wait(steady_clock::now());
  loop.run();
  EXPECT_EQ(woken, 1);
}

TEST_F(LoopSignal, DoesNotWakeWhoComesLater) {
  signal.notify();
  wait(steady_clock::time_point::max());
  loop.poll();
  EXPECT_EQ(woken, 0);
  signal.notify();
  loop.restart();
  loop.run();
  EXPECT_EQ(woken, 1);
}

TEST_F(LoopSignal, MayBeLeftByALoopThatEnds) {
  boost::asio::io_context* const abandoned = new boost::asio::io_context;
  loop_signal left(abandoned->get_executor());
  boost::asio::co_spawn(
      *abandoned, [&left] { return left.wait_until(steady_clock::time_point::max()); },
      boost::asio::detached);
  abandoned->poll();
  delete abandoned;
  left.notify();
  SUCCEED() << "the timer of the abandoned wait is on no list any more";
}

}  // namespace
}  // namespace tavi::site::ocpp
