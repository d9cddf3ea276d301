#include "mura_common/timer.h"

#include <condition_variable>
#include <cstdint>
#include <exception>
#include <mutex>
#include <thread>
#include <utility>

#include <boost/asio/steady_timer.hpp>
#include <spdlog/spdlog.h>

#include "timer/timer_engine.h"
#include "timer/timer_schedule.h"

namespace mura_common {

namespace {

using callback_function = std::function<void()>;
using steady = std::chrono::steady_clock;

void call(callback_function const& callback) {
  try {
    callback();
  } catch (std::exception const& error) {
    spdlog::error("[timer] a callback ended with an exception: {}", error.what());
  } catch (...) {
    spdlog::error("[timer] a callback ended with an exception of unknown type");
  }
}

}  // namespace

/// What a timer shares with the waits and jobs under way for it. Each start and stop begins a new generation;
/// a wait or job of an earlier one finds that out and does nothing.
class [[gnu::visibility("hidden")]] Timer::state : public std::enable_shared_from_this<state> {
 public:
  explicit state(timer_engine& shared_engine) : engine(shared_engine), clock(engine.clocks()) {}

  void start(std::chrono::milliseconds interval, bool once, callback_function function) {
    // What goes out of use here is destroyed after the lock is gone: its end may call this timer.
    auto fresh = std::make_shared<callback_function const>(std::move(function));
    std::lock_guard const lock(mutex);
    begin_generation();
    callback.swap(fresh);
    period = interval;
    single_shot = once;
    due = steady::now() + period;
    wait_until_due();
  }

  void stop() {
    std::shared_ptr<callback_function const> unused;
    std::lock_guard const lock(mutex);
    begin_generation();
    callback.swap(unused);
    clock.cancel();
  }

  /// Waits until no callback is in flight.
  void wait_for_callback() {
    std::unique_lock lock(mutex);
    if (running && runner == std::this_thread::get_id()) {
      spdlog::critical("[timer] a timer is being destroyed by its own callback, expected any other thread");
      std::terminate();
    }
    finished.wait(lock, [this] { return !running; });
  }

 private:
  void begin_generation() {
    ++generation;
    queued = false;
    overdue = false;
  }

  void wait_until_due() {
    clock.expires_at(due);
    clock.async_wait([self = shared_from_this(), of = generation](boost::system::error_code const&) {
      self->on_expiry(of);
    });
  }

  void on_expiry(std::uint64_t of) {
    std::lock_guard const lock(mutex);
    if (of != generation) {
      return;
    }
    if (!single_shot) {
      due = next_expiry(due, period, steady::now());
      wait_until_due();
    }
    if (running) {
      // A repeating timer comes again; a single shot has only this one.
      overdue = single_shot;
    } else if (!queued) {
      queued = true;
      engine.submit([self = shared_from_this(), of] { self->run(of); });
    }
  }

  void run(std::uint64_t of) {
    std::unique_lock lock(mutex);
    if (of != generation) {
      return;
    }
    queued = false;
    running = true;
    runner = std::this_thread::get_id();
    do {
      overdue = false;
      auto current = single_shot ? std::exchange(callback, nullptr) : callback;
      lock.unlock();
      call(*current);
      current.reset();
      lock.lock();
    } while (overdue);
    running = false;
    finished.notify_all();
  }

  timer_engine& engine;
  std::mutex mutex;
  std::condition_variable finished;
  boost::asio::steady_timer clock;
  std::shared_ptr<callback_function const> callback;
  std::chrono::milliseconds period{};
  steady::time_point due;
  std::thread::id runner;
  std::uint64_t generation = 0;
  bool single_shot = false;
  bool queued = false;
  bool running = false;
  bool overdue = false;
};

Timer::Timer() : engine(timer_engine::share()), own(std::make_shared<state>(*engine)) {
}

Timer::~Timer() {
  stop_and_wait();
}

bool Timer::start(std::chrono::milliseconds const& period, bool single_shot, std::function<void()> callback) {
  if (period < std::chrono::milliseconds(1) || !is_countable(period, steady::now())) {
    spdlog::error(
        "[timer] cannot start with a period of {} ms, expected at least 1 and a time that the clock can "
        "count",
        period.count());
    return false;
  }
  if (!callback) {
    spdlog::error("[timer] cannot start with an empty callback, expected a function");
    return false;
  }
  own->start(period, single_shot, std::move(callback));
  return true;
}

bool Timer::stop() {
  own->stop();
  return true;
}

void Timer::stop_and_wait() {
  own->stop();
  own->wait_for_callback();
}

}  // namespace mura_common
