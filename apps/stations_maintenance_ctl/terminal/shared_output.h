#pragma once

#include <atomic>
#include <mutex>

namespace tavi::ctl {

/// What the threads of the program share about its standard output and error.
struct shared_output {
  std::mutex writing;                             ///< held by whoever writes
  std::atomic<bool> is_showing_progress = false;  ///< a line is to be taken away; changes under `writing`
  std::atomic<bool> is_paging = false;            ///< another program has the terminal, and Ctrl-C is its own
};

/// Takes away what a terminal's line shows, for another text in its place.
inline constexpr char const* clear_line = "\r\x1b[K";

}  // namespace tavi::ctl
