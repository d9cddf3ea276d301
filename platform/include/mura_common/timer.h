#pragma once

#include <chrono>
#include <functional>
#include <memory>

#include "mura_common/export.h"

namespace mura_common {

class timer_engine;

/// Calls a function once after a time, or again and again with a period.
///
/// A timer is stopped, armed (after `start`), or, when it was single-shot and has expired, stopped again. All
/// timers of the process share one thread that watches the clock, so an armed timer costs memory only.
/// Callbacks run on a few worker threads; one that runs long delays no other timer, because a further worker
/// steps in. The callbacks of one timer never overlap: an expiry that falls into a running callback is
/// skipped by a repeating timer, and kept until that callback has returned by a single-shot one. A repeating
/// timer keeps to the schedule set by its start; moments missed are not made up for. All operations may be
/// called from any thread, from the timer's own callback too, destruction excepted.
class MURA_COMMON_EXPORT Timer {
 public:
  /// Makes a stopped timer.
  Timer();

  /// Stops the timer and waits until a callback in flight has returned and what it owns is gone. Must not run
  /// on the timer's own callback: the process would end, with a line in the log.
  ~Timer();

  Timer(Timer const&) = delete;
  Timer& operator=(Timer const&) = delete;

  /// Arms the timer; one that is armed already starts anew with the new arguments.
  ///
  /// @param period       time to the first expiry and between two of them, at least 1 ms
  /// @param single_shot  true: expires once; false: expires every period until stopped
  /// @param callback     runs on a thread of the timers at each expiry; an exception out of it is logged and
  ///                     goes no further, and a repeating timer goes on
  /// @return false, with a line in the log and the timer as it was, when `period` is below 1 ms or too long
  ///         for the clock, or `callback` is empty
  [[nodiscard]] bool start(std::chrono::milliseconds const& period, bool single_shot,
                           std::function<void()> callback);

  /// Prevents every further expiry, one that waits for a worker included, without waiting for a callback in
  /// flight. The callback given to `start` is let go.
  /// @return true, also for a timer that was not armed
  bool stop();

  /// Prevents every further expiry and waits until a callback in flight has returned, as destruction does;
  /// for an owner whose callback uses members that end before the timer. Must not run on the timer's own
  /// callback.
  void stop_and_wait();

 private:
  class state;
  std::shared_ptr<timer_engine> engine;
  std::shared_ptr<state> own;
};

}  // namespace mura_common
