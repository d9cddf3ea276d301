#pragma once

#include <chrono>
#include <string>

#include <fmt/chrono.h>

namespace tavi::http {

/// A moment as ISO 8601 in UTC with milliseconds, such as "2026-11-20T13:05:09.042Z".
[[nodiscard]] inline std::string to_utc_iso8601(std::chrono::system_clock::time_point moment) {
  auto const whole = std::chrono::floor<std::chrono::seconds>(moment);
  auto const rest = std::chrono::duration_cast<std::chrono::milliseconds>(moment - whole);
  return fmt::format("{:%Y-%m-%dT%H:%M:%S}.{:03}Z", fmt::gmtime(std::chrono::system_clock::to_time_t(whole)),
                     rest.count());
}

}  // namespace tavi::http
