#pragma once

#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <deque>
#include <functional>
#include <list>
#include <mutex>
#include <thread>

namespace mura_common {

/// The threads that run the timers' callbacks: one at rest, more while callbacks block.
///
/// Callbacks that are short, however many, are run by few threads one after the other. A further thread is
/// started only when the ones there are take nothing from the queue any more, or fall behind. Threads that
/// have had nothing to do for a second end.
class timer_workers {
 public:
  timer_workers() = default;

  /// Drops what is still queued, and waits for what is being run.
  ~timer_workers();
  timer_workers(timer_workers const&) = delete;
  timer_workers& operator=(timer_workers const&) = delete;

  /// Queues a job, which must not throw; starts the first thread.
  void submit(std::function<void()> job);

  /// Starts a further thread if one is needed; to be called every `relief_interval` while jobs wait.
  /// @return whether jobs wait
  [[nodiscard]] bool relieve();

  /// How long the queue may stand still before a further thread steps in.
  static constexpr std::chrono::milliseconds relief_interval{10};

 private:
  struct queued_job {
    std::function<void()> job;
    std::chrono::steady_clock::time_point since;
  };
  using threads = std::list<std::thread>;

  void start_worker();
  void work(threads::iterator self);
  void run_jobs(std::unique_lock<std::mutex>& lock);
  [[nodiscard]] bool wait_for_jobs(std::unique_lock<std::mutex>& lock);
  [[nodiscard]] bool is_worker_needed() const;

  std::mutex mutex;
  std::condition_variable ready;
  std::deque<queued_job> jobs;
  threads workers;
  /// The thread that ended last; the next one to end joins it.
  threads ended;
  /// How many wait for a job, or have only just been started.
  std::size_t idle = 0;
  std::uint64_t taken = 0;
  std::uint64_t taken_before = 0;
  bool stopping = false;
};

}  // namespace mura_common
