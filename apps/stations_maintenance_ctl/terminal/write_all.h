#pragma once

#include <unistd.h>

#include <cerrno>
#include <string_view>

namespace tavi::ctl {

/// Writes a whole text. @return 0, or the system's error that ended it
inline int write_all(int descriptor, std::string_view text) {
  while (!text.empty()) {
    auto const count = ::write(descriptor, text.data(), text.size());
    if (count < 0 && errno != EINTR) {
      return errno;
    }
    text.remove_prefix(count < 0 ? 0 : static_cast<std::size_t>(count));
  }
  return 0;
}

}  // namespace tavi::ctl
