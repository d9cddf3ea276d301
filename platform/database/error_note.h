#pragma once

#include <mutex>
#include <string>
#include <utility>

namespace mura_common {

/// The last error of a connection, which its statements tell it from whatever thread runs them.
class error_note {
 public:
  void keep(std::string error) {
    std::lock_guard const lock(mutex);
    text = std::move(error);
  }
  [[nodiscard]] std::string last() const {
    std::lock_guard const lock(mutex);
    return text;
  }

 private:
  mutable std::mutex mutex;
  std::string text;
};

}  // namespace mura_common
