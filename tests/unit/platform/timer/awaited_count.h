#pragma once

#include <chrono>
#include <condition_variable>
#include <mutex>

/// Counts what happens on other threads, and lets a test wait for it.
class awaited_count {
 public:
  /// Counts one more. @return the count with it
  int add() {
    std::lock_guard const lock(mutex);
    ++count;
    changed.notify_all();
    return count;
  }

  /// The count now.
  [[nodiscard]] int value() const {
    std::lock_guard const lock(mutex);
    return count;
  }

  /// Waits until the count has reached `wanted`. @return false when it has not within a minute
  [[nodiscard]] bool wait_for(int wanted) const {
    std::unique_lock lock(mutex);
    return changed.wait_for(lock, std::chrono::minutes(1), [&] { return count >= wanted; });
  }

 private:
  mutable std::mutex mutex;
  mutable std::condition_variable changed;
  int count = 0;
};
