#pragma once

#include <chrono>

namespace mura_common {

/// When a repeating timer expires next: the first moment of its fixed schedule that lies after `now`. Moments
/// that went by unused are left out, so that a late timer neither drifts nor catches up in a burst.
/// @param due     the moment of the schedule that was waited for, not after `now`
/// @param period  of the schedule, above zero
/// @param now     the present
[[nodiscard]] constexpr std::chrono::steady_clock::time_point next_expiry(
    std::chrono::steady_clock::time_point due, std::chrono::steady_clock::duration period,
    std::chrono::steady_clock::time_point now) {
  return due + ((now - due) / period + 1) * period;
}

/// Whether the clock can count a period from `now` on, and a further one after it.
[[nodiscard]] constexpr bool is_countable(std::chrono::milliseconds period,
                                          std::chrono::steady_clock::time_point now) {
  auto const left = std::chrono::steady_clock::time_point::max() - now;
  return period <= std::chrono::duration_cast<std::chrono::milliseconds>(left / 2);
}

}  // namespace mura_common
