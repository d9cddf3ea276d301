#pragma once

#include <atomic>
#include <chrono>
#include <mutex>
#include <string>
#include <thread>

#include "terminal/clock.h"
#include "terminal/shared_output.h"

namespace tavi::ctl {

/// The clock of the program, and what ends it: Ctrl-C (SIGINT), SIGTERM, and SIGHUP when its terminal goes,
/// unless that is ignored from the start.
///
/// Unless a command took the interruption over, the first signal ends the process at once with exit code 128
/// and the signal's number, though not between the bytes of an output. Otherwise it wakes `wait`, and only a
/// second one ends the process. Either way no progress stays on the terminal. To be made before any other
/// thread, because it takes the signals away from all of them.
class interruption : public i_clock {
 public:
  /// @param output  of the program; must outlive this object
  explicit interruption(shared_output& output);
  ~interruption() override;
  interruption(interruption const&) = delete;
  interruption& operator=(interruption const&) = delete;

  [[nodiscard]] std::chrono::system_clock::time_point now() const override;
  [[nodiscard]] std::chrono::steady_clock::time_point steady_now() const override;
  bool wait(std::chrono::milliseconds time) override;
  void take_over_interruption(char const* notice) override;
  [[nodiscard]] int interrupting_signal() const override { return raised_by; }

 private:
  void watch();
  void on_signal(int number);
  [[nodiscard]] std::unique_lock<std::mutex> await_end_of_output();
  void tell(std::string const& text);

  shared_output& shared;
  int signals = -1;  ///< descriptor from which signals are read
  int raised = -1;   ///< descriptor that can be read once the flag is up
  int ending = -1;   ///< descriptor that ends the thread
  std::atomic<char const*> notice_of_end = nullptr;
  std::atomic<bool> is_taken_over = false;
  std::atomic<int> raised_by = 0;  ///< number of the first signal; 0 before it
  std::thread watcher;
};

}  // namespace tavi::ctl
