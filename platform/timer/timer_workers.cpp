#include "timer/timer_workers.h"

#include <system_error>
#include <utility>

#include <spdlog/spdlog.h>

namespace mura_common {

namespace {

constexpr std::chrono::seconds idle_limit{1};

/// Short callbacks that come faster than one thread runs them are worth this many threads, and no more.
constexpr std::size_t busy_workers = 4;
constexpr std::chrono::milliseconds backlog_limit{50};

}  // namespace

timer_workers::~timer_workers() {
  threads remaining;
  {
    std::lock_guard const lock(mutex);
    stopping = true;
  }
  ready.notify_all();
  while (true) {
    {
      std::lock_guard const lock(mutex);
      if (remaining.empty() && !workers.empty()) {
        remaining.splice(remaining.end(), workers, workers.begin());
      }
      remaining.splice(remaining.end(), ended);
    }
    if (remaining.empty()) {
      return;
    }
    remaining.front().join();
    remaining.pop_front();
  }
}

void timer_workers::submit(std::function<void()> job) {
  {
    std::lock_guard const lock(mutex);
    if (jobs.empty()) {
      taken_before = taken;
    }
    jobs.push_back({std::move(job), std::chrono::steady_clock::now()});
    if (workers.empty()) {
      start_worker();
    }
  }
  ready.notify_one();
}

bool timer_workers::relieve() {
  std::lock_guard const lock(mutex);
  if (is_worker_needed()) {
    start_worker();
  }
  taken_before = taken;
  return !jobs.empty();
}

bool timer_workers::is_worker_needed() const {
  if (jobs.empty() || idle > 0) {
    return false;
  }
  bool const standing_still = taken == taken_before;
  bool const behind = std::chrono::steady_clock::now() - jobs.front().since >= backlog_limit;
  return standing_still || (behind && workers.size() < busy_workers);
}

void timer_workers::start_worker() {
  auto const self = workers.emplace(workers.end());
  try {
    *self = std::thread([this, self] { work(self); });
    // Until it runs it counts as one that is about to take a job: a slow start calls for no second one.
    ++idle;
  } catch (std::system_error const& error) {
    // The jobs stay queued: the threads there are take them, or the next attempt succeeds.
    workers.erase(self);
    spdlog::error("[timer] cannot start a thread beside the {} there are: {}", workers.size(), error.what());
  }
}

void timer_workers::work(threads::iterator self) {
  threads predecessor;
  {
    std::unique_lock lock(mutex);
    --idle;
    do {
      run_jobs(lock);
    } while (wait_for_jobs(lock));
    if (stopping) {
      return;
    }
    predecessor.splice(predecessor.end(), ended);
    ended.splice(ended.end(), workers, self);
  }
  for (auto& thread : predecessor) {
    thread.join();
  }
}

void timer_workers::run_jobs(std::unique_lock<std::mutex>& lock) {
  while (!stopping && !jobs.empty()) {
    auto job = std::move(jobs.front().job);
    jobs.pop_front();
    ++taken;
    lock.unlock();
    job();
    // What the job owns goes before the lock is taken again: its end may need other locks.
    job = nullptr;
    lock.lock();
  }
}

bool timer_workers::wait_for_jobs(std::unique_lock<std::mutex>& lock) {
  auto const is_woken = [this] { return stopping || !jobs.empty(); };
  ++idle;
  while (!is_woken()) {
    if (workers.size() == 1) {
      ready.wait(lock);
    } else if (!ready.wait_for(lock, idle_limit, is_woken) && workers.size() > 1) {
      --idle;
      return false;
    }
  }
  --idle;
  return !stopping;
}

}  // namespace mura_common
