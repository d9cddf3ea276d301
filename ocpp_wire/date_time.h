#pragma once

#include <chrono>
#include <optional>
#include <string>
#include <string_view>

namespace tavi::ocpp_wire {

/// A moment as OCPP tells it; reaches far beyond what the system's clock can.
using date_time = std::chrono::sys_time<std::chrono::milliseconds>;

/// Reads a date and time of ISO 8601, such as "2026-11-20T13:05:09.042Z" or "2026-11-20T14:05:09+01:00".
///
/// Pure. Without a zone it is UTC. What follows the milliseconds of a fraction is left out.
/// @param text  from outside, any bytes
/// @return empty when it has another form or names a moment that does not exist; a leap second counts as the
///         second after it
[[nodiscard]] std::optional<date_time> parse_date_time(std::string_view text);

/// A moment as ISO 8601 in UTC with milliseconds, such as "2026-11-20T13:05:09.042Z".
[[nodiscard]] std::string to_utc_iso8601(std::chrono::system_clock::time_point moment);

}  // namespace tavi::ocpp_wire
