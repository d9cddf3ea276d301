#pragma once

#include <stdlib.h>

#include <chrono>
#include <condition_variable>
#include <filesystem>
#include <memory>
#include <mutex>
#include <string>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

#include "log_capture.h"
#include "temporary_folder.h"

/// Longer than anything takes that works, on a loaded machine too.
inline constexpr std::chrono::seconds generous(30);

/// A run-time folder of its own for one test, and the log of what happens there.
class ipc_test : public testing::Test {
 public:
  ~ipc_test() override { unsetenv("TAVI_RUNTIME_DIR"); }

 protected:
  ipc_test() { setenv("TAVI_RUNTIME_DIR", folder.path().c_str(), 1); }

  /// Where a socket of the folder lies. @param name  such as "echo.req"
  [[nodiscard]] std::filesystem::path socket(std::string const& name) const { return folder.path() / name; }

  temporary_folder folder;
  log_capture log;
};

/// A door that threads wait at until it is opened. It may go while a thread is still on its way out of it.
class gate {
 public:
  void open() {
    auto const kept = door;
    std::lock_guard const lock(kept->guard);
    kept->is_open = true;
    kept->changed.notify_all();
  }
  /// @return whether it was open in time
  bool pass() {
    auto const kept = door;
    std::unique_lock lock(kept->guard);
    return kept->changed.wait_for(lock, generous, [&] { return kept->is_open; });
  }

 private:
  struct state {
    std::mutex guard;
    std::condition_variable changed;
    bool is_open = false;
  };
  std::shared_ptr<state> const door = std::make_shared<state>();
};

/// Collects what threads bring and lets the test wait for it.
template <typename T>
class collector {
 public:
  void add(T value) {
    std::lock_guard const lock(guard);
    values.push_back(std::move(value));
    changed.notify_all();
  }
  /// Everything so far, once there are `count`; fewer when they did not come within the limit.
  std::vector<T> wait_for(std::size_t count, std::chrono::milliseconds limit = generous) {
    std::unique_lock lock(guard);
    changed.wait_for(lock, limit, [&] { return values.size() >= count; });
    return values;
  }
  void clear() {
    std::lock_guard const lock(guard);
    values.clear();
  }

 private:
  std::mutex guard;
  std::condition_variable changed;
  std::vector<T> values;
};
