#pragma once

#include <functional>

/// While it lives, runs a function of the test's own in place of the C library's call that changes the mode
/// of a file: what happens between the copy of a file and its use can be arranged there.
///
/// One at a time, for calls of the thread that made it only; not made from within the function itself.
class file_mode_hook {
 public:
  /// The calls that can be taken over: by name (`fchmodat`), or of an open file (`fchmod`).
  enum class call { by_name, of_open_file };

  /// @param function  returns 0 to have the call made as usual, or the error that it shall fail with
  file_mode_hook(call which, std::function<int()> function);
  ~file_mode_hook();
  file_mode_hook(file_mode_hook const&) = delete;
  file_mode_hook& operator=(file_mode_hook const&) = delete;

  /// Whether the call was made at all.
  [[nodiscard]] bool has_run() const;
};
