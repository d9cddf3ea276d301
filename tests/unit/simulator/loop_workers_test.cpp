#include "loop_workers.h"

#include <chrono>
#include <functional>
#include <future>
#include <memory>
#include <system_error>
#include <utility>

#include <boost/asio/co_spawn.hpp>
#include <boost/asio/detached.hpp>
#include <boost/asio/io_context.hpp>
#include <boost/asio/post.hpp>
#include <gtest/gtest.h>

#include "blocking_work.h"

namespace {

namespace asio = boost::asio;
using tavi::simulator::find_workers;

asio::awaitable<void> run(asio::any_io_executor loop, std::function<std::error_code()> job,
                          std::function<void()> done) {
  co_await tavi::http::run_blocking(find_workers(loop), std::move(job));
  done();
}

TEST(LoopWorkers, LoopGoesOnWhileTheyWork) {
  asio::io_context loop;
  std::promise<void> from_loop;
  auto is_loop_alive = false;
  auto is_done = false;
  auto job = [&] {
    is_loop_alive = from_loop.get_future().wait_for(std::chrono::seconds(30)) == std::future_status::ready;
    return std::error_code();
  };
  asio::co_spawn(loop, run(loop.get_executor(), job, [&] { is_done = true; }), asio::detached);
  asio::post(loop, [&] { from_loop.set_value(); });

  loop.run();

  EXPECT_TRUE(is_loop_alive);
  EXPECT_TRUE(is_done);
}

TEST(LoopWorkers, EachLoopHasItsOwnAndKeepsThem) {
  asio::io_context first;
  asio::io_context second;
  EXPECT_EQ(&find_workers(first.get_executor()), &find_workers(first.get_executor()));
  EXPECT_NE(&find_workers(first.get_executor()), &find_workers(second.get_executor()));
}

TEST(LoopWorkers, LoopThatIsDestroyedWaitsForWhatTheyHaveBegun) {
  auto loop = std::make_unique<asio::io_context>();
  std::promise<void> begun;
  std::promise<void> end;
  auto is_ended = false;
  auto is_resumed = false;
  auto job = [&] {
    begun.set_value();
    end.get_future().wait();
    is_ended = true;
    return std::error_code();
  };
  asio::co_spawn(*loop, run(loop->get_executor(), job, [&] { is_resumed = true; }), asio::detached);
  loop->poll();
  begun.get_future().wait();

  end.set_value();
  loop.reset();

  EXPECT_TRUE(is_ended);
  EXPECT_FALSE(is_resumed);
}

}  // namespace
