#pragma once

#include <chrono>

namespace tavi::simulator {

/// The reconnect back-off: how long to wait before the next try to connect. Pure.
/// @param last     the last wait
/// @param longest  the station's `longest_pause`
/// @return twice the last wait, at most the longest
[[nodiscard]] std::chrono::milliseconds next_reconnect_pause(std::chrono::milliseconds last,
                                                             std::chrono::milliseconds longest);

}  // namespace tavi::simulator
