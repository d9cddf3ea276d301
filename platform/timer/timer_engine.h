#pragma once

#include <functional>
#include <memory>
#include <thread>

#include <boost/asio/executor_work_guard.hpp>
#include <boost/asio/io_context.hpp>
#include <boost/asio/steady_timer.hpp>

#include "timer/timer_workers.h"

namespace mura_common {

/// What all timers of the process share: the thread that watches the clock, and the workers.
///
/// It begins with the first timer. Every timer keeps it, and the process does too, so that it ends at the
/// process's exit, after the last timer, wherever that one lives.
class timer_engine {
 public:
  /// The process's engine, for a timer to keep. It must not be let go on one of the engine's own threads.
  [[nodiscard]] static std::shared_ptr<timer_engine> share();

  timer_engine();
  ~timer_engine();
  timer_engine(timer_engine const&) = delete;
  timer_engine& operator=(timer_engine const&) = delete;

  /// Where clocks run; their handlers come on the thread that watches the clock and must be quick.
  [[nodiscard]] boost::asio::io_context& clocks() { return context; }

  /// Hands a job, which must not throw, to the workers; to be called on the thread that watches the clock.
  void submit(std::function<void()> job);

 private:
  void watch_queue();

  boost::asio::io_context context;
  boost::asio::executor_work_guard<boost::asio::io_context::executor_type> work;
  boost::asio::steady_timer relief;
  bool watching = false;
  timer_workers workers;
  std::thread watcher;
};

}  // namespace mura_common
