#pragma once

#include <chrono>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace tavi::ctl {

/// Reads a whole number in decimal digits, without sign, blank or anything else around it.
/// @return empty when it is something else or above `most`
[[nodiscard]] std::optional<std::uint64_t> parse_number(std::string_view text, std::uint64_t most);

/// Reads a duration: seconds as a plain number ("3600"), or numbers with the units w, d, h, m, s, each at
/// most once and the larger first ("7d", "1h30m").
/// @return empty when it is something else, or more seconds than a duration holds
[[nodiscard]] std::optional<std::chrono::seconds> parse_duration(std::string_view text);

/// Writes a duration exactly, so that `parse_duration` reads it back: "1d1h", "90s" as "1m30s", "0s".
/// @param duration  0 or above; a negative one is written in seconds, for people only
[[nodiscard]] std::string format_duration(std::chrono::seconds duration);

/// Writes how long ago something was in its two largest units, blank between: "3d 4h", "12s"; "now" for 0 and
/// for a moment in the future.
[[nodiscard]] std::string format_age(std::chrono::seconds age);

/// Reads a size: bytes as a plain number, or a number with k, M, G or T for powers of 1024, upper or lower
/// case ("10M"), optionally with "iB" behind.
/// @return empty when it is something else, or too large for 64 bits
[[nodiscard]] std::optional<std::uint64_t> parse_size(std::string_view text);

/// Writes a size in three digits or so, rounded: "512 B", "1.5 KiB", "21 MiB".
[[nodiscard]] std::string format_size(std::uint64_t bytes);

/// Writes a moment in UTC as ISO 8601: "2026-11-20T13:05:09Z"; empty when it lies outside the calendar.
/// @param seconds_since_epoch  seconds since 1970-01-01T00:00:00Z
[[nodiscard]] std::string format_utc(std::int64_t seconds_since_epoch);

/// As `format_utc`, by the clock of this machine's time zone: "2026-11-20T14:05:09+01:00".
[[nodiscard]] std::string format_local(std::int64_t seconds_since_epoch);

}  // namespace tavi::ctl
