#pragma once

#include <chrono>

namespace tavi::ctl {

/// Time, and the user's wish to end.
class i_clock {
 public:
  virtual ~i_clock() = default;

  /// The moment as calendars have it.
  [[nodiscard]] virtual std::chrono::system_clock::time_point now() const = 0;
  /// The moment for measuring how long something takes.
  [[nodiscard]] virtual std::chrono::steady_clock::time_point steady_now() const = 0;
  /// Lets time pass. @return true, early, when the user wants to end
  virtual bool wait(std::chrono::milliseconds time) = 0;
  /// From now on a first Ctrl-C no longer ends the program: the command ends itself, in order.
  /// @param notice  a line that is told at once then, because ending may take long; lives as long as the
  ///                program; none when null
  virtual void take_over_interruption(char const* notice) = 0;
  /// Number of the signal by which the user wants to end; 0 when the user does not.
  [[nodiscard]] virtual int interrupting_signal() const = 0;
  /// Whether the user wants to end.
  [[nodiscard]] bool is_interrupted() const { return interrupting_signal() != 0; }
};

}  // namespace tavi::ctl
