#include "date_time.h"

#include <algorithm>
#include <cstddef>

#include <fmt/chrono.h>

namespace tavi::ocpp_wire {
namespace {

using std::chrono::milliseconds;

bool is_digit(char c) {
  return c >= '0' && c <= '9';
}

/// Reads fields of fixed width off the front of a text, and remembers whether all were there.
class field_reader {
 public:
  explicit field_reader(std::string_view text) : rest(text) {}

  int take_number(std::size_t digits) {
    int number = 0;
    for (std::size_t count = 0; count < digits; ++count) {
      if (rest.empty() || !is_digit(rest.front())) {
        good = false;
        return 0;
      }
      number = number * 10 + (rest.front() - '0');
      rest.remove_prefix(1);
    }
    return number;
  }

  /// @return whether the next character is one of these; it is taken then
  bool take_any(std::string_view characters) {
    bool const is_there = !rest.empty() && characters.find(rest.front()) != std::string_view::npos;
    rest.remove_prefix(is_there ? 1 : 0);
    return is_there;
  }

  void expect_any(std::string_view characters) { good = take_any(characters) && good; }

  milliseconds take_fraction() {
    int thousandths = take_number(1) * 100;
    for (int weight = 10; !rest.empty() && is_digit(rest.front()); weight /= 10) {
      thousandths += take_number(1) * weight;
    }
    return milliseconds(thousandths);
  }

  [[nodiscard]] char next() const { return rest.empty() ? '\0' : rest.front(); }
  [[nodiscard]] bool is_good() const { return good; }
  [[nodiscard]] bool is_at_end() const { return rest.empty(); }

 private:
  std::string_view rest;
  bool good = true;
};

std::chrono::year_month_day take_date(field_reader& reader) {
  auto const year = reader.take_number(4);
  reader.expect_any("-");
  auto const month = reader.take_number(2);
  reader.expect_any("-");
  auto const day = reader.take_number(2);
  return {std::chrono::year(year), std::chrono::month(static_cast<unsigned int>(month)),
          std::chrono::day(static_cast<unsigned int>(day))};
}

std::optional<milliseconds> take_time(field_reader& reader) {
  auto const hour = reader.take_number(2);
  reader.expect_any(":");
  auto const minute = reader.take_number(2);
  reader.expect_any(":");
  auto const second = reader.take_number(2);
  auto const fraction = reader.take_any(".,") ? reader.take_fraction() : milliseconds(0);
  if (!reader.is_good() || hour > 23 || minute > 59 || second > 60) {
    return std::nullopt;
  }
  return std::chrono::hours(hour) + std::chrono::minutes(minute) + std::chrono::seconds(second) + fraction;
}

/// How far local time is ahead of UTC.
std::optional<milliseconds> take_offset(field_reader& reader) {
  if (reader.is_at_end() || reader.take_any("Zz")) {
    return milliseconds(0);
  }
  auto const is_behind = reader.next() == '-';
  reader.expect_any("+-");
  auto const hours = reader.take_number(2);
  auto const has_minutes = reader.take_any(":") || !reader.is_at_end();
  auto const minutes = has_minutes ? reader.take_number(2) : 0;
  if (!reader.is_good() || hours > 23 || minutes > 59) {
    return std::nullopt;
  }
  auto const offset = std::chrono::hours(hours) + std::chrono::minutes(minutes);
  return is_behind ? -offset : offset;
}

}  // namespace

std::optional<date_time> parse_date_time(std::string_view text) {
  field_reader reader(text);
  auto const date = take_date(reader);
  reader.expect_any("Tt");
  auto const time = take_time(reader);
  auto const offset = take_offset(reader);
  if (!time || !offset || !date.ok() || !reader.is_at_end()) {
    return std::nullopt;
  }
  return std::chrono::sys_days(date) + *time - *offset;
}

std::string to_utc_iso8601(std::chrono::system_clock::time_point moment) {
  auto const whole = std::chrono::floor<std::chrono::seconds>(moment);
  auto const rest = std::chrono::duration_cast<milliseconds>(moment - whole);
  return fmt::format("{:%Y-%m-%dT%H:%M:%S}.{:03}Z", fmt::gmtime(std::chrono::system_clock::to_time_t(whole)),
                     rest.count());
}

}  // namespace tavi::ocpp_wire
