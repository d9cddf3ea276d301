#pragma once

#include <cstdint>
#include <string>

namespace mura_common::ipc {

/// Follows the numbers of a publisher's events and tells how many never came.
class event_count {
 public:
  /// Takes note of an event. @return how many events of the same run of the publisher were missed between
  /// this one and the one before it; 0 for the first event of a run, because earlier ones were not waited for
  std::uint64_t note(std::string const& from, std::uint64_t number) {
    bool const is_same_run = from == publisher;
    std::uint64_t const missed = is_same_run && number > last ? number - last - 1 : 0;
    publisher = from;
    last = number;
    return missed;
  }

 private:
  std::string publisher;
  std::uint64_t last = 0;
};

}  // namespace mura_common::ipc
