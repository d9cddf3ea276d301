#pragma once

#include <chrono>
#include <list>

#include <boost/asio/any_io_executor.hpp>
#include <boost/asio/awaitable.hpp>
#include <boost/asio/steady_timer.hpp>

namespace tavi::site::ocpp {

/// What a condition variable is to threads, for coroutines of one event loop: a coroutine checks what it
/// waits for, waits, and checks again.
///
/// No lock is needed, and no notification is lost, because nothing else runs between the check and the wait.
class loop_signal {
 public:
  /// @param loop  the one that every user of the signal runs on
  explicit loop_signal(boost::asio::any_io_executor loop);
  loop_signal(loop_signal const&) = delete;
  loop_signal& operator=(loop_signal const&) = delete;

  /// Comes back with the next `notify`, and at `deadline` in any case. The signal must outlive the wait.
  boost::asio::awaitable<void> wait_until(std::chrono::steady_clock::time_point deadline);

  /// Wakes everyone who waits.
  void notify();

 private:
  boost::asio::any_io_executor executor;
  std::list<boost::asio::steady_timer*> waiting;
};

}  // namespace tavi::site::ocpp
