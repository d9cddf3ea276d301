#pragma once

#include <chrono>
#include <cstdint>
#include <filesystem>
#include <optional>
#include <string>

#include "commands/report_choice.h"

namespace tavi::ctl {

/// The values that options take, each empty when the text is none.

/// Number of a report or a firmware, as far as requests can carry it: 0 to 2147483647.
[[nodiscard]] std::optional<std::uint32_t> parse_id(std::string const& text);
/// Number of a station, or a count of reports: 0 to 4294967295.
[[nodiscard]] std::optional<std::uint32_t> parse_count(std::string const& text);
/// See `parse_duration`; at most a hundred years.
[[nodiscard]] std::optional<std::chrono::seconds> parse_time(std::string const& text);
/// As `parse_time`, above 0.
[[nodiscard]] std::optional<std::chrono::seconds> parse_patience(std::string const& text);
/// "id", "station", "name", "time", "type" or "size".
[[nodiscard]] std::optional<report_order> parse_order(std::string const& text);
/// "periodic" or "manual".
[[nodiscard]] std::optional<diagnostic_report_type> parse_type(std::string const& text);
/// Anything but an empty text.
[[nodiscard]] std::optional<std::string> parse_present(std::string const& text);
/// See `is_server_address`.
[[nodiscard]] std::optional<std::string> parse_address(std::string const& text);
/// A path in UTF-8 whose last part is a name with ".zip" at its end.
[[nodiscard]] std::optional<std::filesystem::path> parse_archive(std::string const& text);

}  // namespace tavi::ctl
