#pragma once

#include <chrono>
#include <cstdint>
#include <filesystem>
#include <optional>
#include <string>

#include "command_line/command_record.h"
#include "commands/report_choice.h"
#include "text/record_text.h"
#include "text/site_events.h"

namespace tavi::ctl {

/// A kind of values that options take.
template <typename T>
struct value_kind {
  std::optional<T> (*parse)(std::string const&);  ///< empty when the text is no such value
  char const* name;                               ///< as the help has it: "DURATION"
  char const* expected;                           ///< what the value has to be: "a duration like 24h"
  char const* offered = "";                       ///< what a shell offers, a blank between
  offered_paths paths = offered_paths::none;      ///< as is a path
};

/// Number of a report or a firmware, as far as requests can carry it: 0 to 2147483647.
[[nodiscard]] std::optional<std::uint32_t> parse_id(std::string const& text);
/// Number of a station, or a count of reports: 0 to 4294967295.
[[nodiscard]] std::optional<std::uint32_t> parse_count(std::string const& text);
/// As `parse_count`, from 1.
[[nodiscard]] std::optional<std::uint32_t> parse_positive(std::string const& text);
/// "age", "local" or "utc".
[[nodiscard]] std::optional<time_form> parse_time_form(std::string const& text);
/// See `parse_duration`; at most a hundred years.
[[nodiscard]] std::optional<std::chrono::seconds> parse_time(std::string const& text);
/// As `parse_time`, above 0.
[[nodiscard]] std::optional<std::chrono::seconds> parse_patience(std::string const& text);
/// See `parse_size`.
[[nodiscard]] std::optional<std::uint64_t> parse_bytes(std::string const& text);
/// "id", "station", "name", "time", "type" or "size".
[[nodiscard]] std::optional<report_order> parse_order(std::string const& text);
/// "periodic" or "manual".
[[nodiscard]] std::optional<diagnostic_report_type> parse_type(std::string const& text);
/// One of `event_names`.
[[nodiscard]] std::optional<std::string> parse_event_name(std::string const& text);
/// Anything but an empty text.
[[nodiscard]] std::optional<std::string> parse_present(std::string const& text);
/// As `parse_present`, a path.
[[nodiscard]] std::optional<std::filesystem::path> parse_path(std::string const& text);
/// See `is_server_address`.
[[nodiscard]] std::optional<std::string> parse_address(std::string const& text);
/// A path in UTF-8 whose last part is a name with ".zip" at its end.
[[nodiscard]] std::optional<std::filesystem::path> parse_archive(std::string const& text);

namespace value {

inline constexpr value_kind<std::uint32_t> firmware_id{parse_id, "ID", "the id of a firmware"};
inline constexpr value_kind<std::uint32_t> report_id{parse_id, "ID", "the id of a report"};
inline constexpr value_kind<std::uint32_t> station{parse_count, "NUMBER", "the number of a station"};
inline constexpr value_kind<std::string> event{parse_event_name, "EVENT", "the name of an event",
                                               event_names};
inline constexpr value_kind<std::uint32_t> limit{parse_positive, "COUNT", "a number from 1 to 4294967295"};
inline constexpr value_kind<time_form> time{parse_time_form, "FORM", "age, local or utc", "age local utc"};
inline constexpr value_kind<std::uint32_t> count{parse_count, "COUNT", "a number from 0 to 4294967295"};
inline constexpr value_kind<std::chrono::seconds> duration{
    parse_time, "DURATION", "a duration from 0 to 100 years, like 24h or 3600", "1h 1d 7d 30d"};
inline constexpr value_kind<std::chrono::seconds> patience{
    parse_patience, "DURATION", "a duration above 0 like 90s or 10m", "30s 2m 10m 1h"};
inline constexpr value_kind<std::uint64_t> size{parse_bytes, "SIZE", "a size like 500k or 10M",
                                                "100k 1M 10M 100M"};
inline constexpr value_kind<report_order> order{parse_order, "FIELD", "id, station, name, time, type or size",
                                                "id station name time type size"};
inline constexpr value_kind<diagnostic_report_type> type{parse_type, "TYPE", "periodic or manual",
                                                         "periodic manual"};
inline constexpr value_kind<std::string> model{parse_present, "NAME", "the name of a model"};
inline constexpr value_kind<std::string> version{parse_present, "TEXT", "a version"};
inline constexpr value_kind<std::string> address{parse_address, "HOST:PORT", "like host:port"};
inline constexpr value_kind<std::filesystem::path> file{parse_path, "FILE", "the name of a file", "",
                                                        offered_paths::files};
inline constexpr value_kind<std::string> folder{parse_present, "DIR", "the name of a folder", "",
                                                offered_paths::folders};
inline constexpr value_kind<std::filesystem::path> archive{
    parse_archive, "DESTINATION", "the name of an archive, in UTF-8 and with .zip at its end", "",
    offered_paths::files};

}  // namespace value

}  // namespace tavi::ctl
