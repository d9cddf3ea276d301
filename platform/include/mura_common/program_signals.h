#pragma once

#include <functional>
#include <memory>

#include "mura_common/export.h"

namespace mura_common {

/// What SIGHUP means to a program.
enum class hangup_meaning {
  go_on,  ///< to read again what can be read again, which is nothing so far: one line in the log
  end     ///< that its terminal is gone: as SIGINT and SIGTERM
};

/// Takes SIGINT, SIGTERM and SIGHUP of a process, so that none of them ends it half-way.
///
/// To be made before any other thread, because it blocks the signals for the thread that makes it and for those
/// that this one starts. They stay blocked when it is destroyed: one that comes later is not lost, and found by
/// the next object of this class. One at a time.
class MURA_COMMON_EXPORT program_signals {
 public:
  /// @param meaning  see `hangup_meaning`
  /// @param on_end   called with the number of each signal that is to end the program, on a thread of its own;
  ///                 throws nothing; empty when `wait` is enough
  /// Throws std::system_error when the system has no descriptor for it.
  explicit program_signals(hangup_meaning meaning, std::function<void(int number)> on_end = {});
  /// Waits for a call of `on_end` in progress.
  ~program_signals();
  program_signals(program_signals const&) = delete;
  program_signals& operator=(program_signals const&) = delete;

  /// Waits for the first signal that is to end the program. Any thread, any number of times.
  /// @return its number
  [[nodiscard]] int wait() const;

 private:
  struct members;
  std::unique_ptr<members> own;
};

}  // namespace mura_common
