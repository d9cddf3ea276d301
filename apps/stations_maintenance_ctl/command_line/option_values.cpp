#include "command_line/option_values.h"

#include <algorithm>
#include <initializer_list>
#include <iterator>
#include <limits>
#include <sstream>

#include "mura_common/text.h"
#include "text/plain_text.h"
#include "text/quantity_text.h"
#include "text/record_names.h"
#include "upload/http_upload.h"

namespace tavi::ctl {

namespace {

/// Longer than anybody waits, and short enough to be added to any moment.
constexpr std::chrono::seconds longest_time = std::chrono::hours(24 * 365 * 100);

std::optional<std::uint32_t> parse_number_up_to(std::string const& text, std::uint32_t most) {
  auto const number = parse_number(text, most);
  return number ? std::optional(static_cast<std::uint32_t>(*number)) : std::nullopt;
}

/// The enumerator of this name. @param names  of all, in the order of their values
template <typename Enumeration>
std::optional<Enumeration> parse_name(std::initializer_list<char const*> names, std::string const& text) {
  auto const* const found = std::find(names.begin(), names.end(), text);
  return found != names.end() ? std::optional(static_cast<Enumeration>(found - names.begin())) : std::nullopt;
}

}  // namespace

std::optional<std::uint32_t> parse_id(std::string const& text) {
  return parse_number_up_to(text, std::numeric_limits<std::int32_t>::max());
}

std::optional<std::uint32_t> parse_count(std::string const& text) {
  return parse_number_up_to(text, std::numeric_limits<std::uint32_t>::max());
}

std::optional<std::uint32_t> parse_positive(std::string const& text) {
  auto const number = parse_count(text);
  return number && *number > 0 ? number : std::nullopt;
}

std::optional<std::chrono::seconds> parse_time(std::string const& text) {
  auto const time = parse_duration(text);
  return time && *time <= longest_time ? time : std::nullopt;
}

std::optional<std::chrono::seconds> parse_patience(std::string const& text) {
  auto const time = parse_time(text);
  return time && time->count() > 0 ? time : std::nullopt;
}

std::optional<std::uint64_t> parse_bytes(std::string const& text) {
  return parse_size(text);
}

std::optional<report_order> parse_order(std::string const& text) {
  return parse_name<report_order>({"id", "station", "name", "time", "type", "size"}, text);
}

std::optional<time_form> parse_time_form(std::string const& text) {
  return parse_name<time_form>({"age", "local", "utc"}, text);
}

std::optional<diagnostic_report_type> parse_type(std::string const& text) {
  return find_report_type(text);
}

std::optional<std::string> parse_event_name(std::string const& text) {
  std::istringstream names(event_names);
  using name = std::istream_iterator<std::string>;
  return std::find(name(names), name(), text) != name() ? std::optional(text) : std::nullopt;
}

std::optional<std::string> parse_present(std::string const& text) {
  return text.empty() ? std::nullopt : std::optional(text);
}

std::optional<std::filesystem::path> parse_path(std::string const& text) {
  return parse_present(text);
}

std::optional<std::string> parse_address(std::string const& text) {
  return is_server_address(text) ? std::optional(text) : std::nullopt;
}

std::optional<std::filesystem::path> parse_archive(std::string const& text) {
  auto const is_archive =
      text.ends_with(".zip") && !text.ends_with("/.zip") && text != ".zip" && mura_common::is_utf8(text);
  return is_archive ? std::optional<std::filesystem::path>(text) : std::nullopt;
}

}  // namespace tavi::ctl
