#include "text/quantity_text.h"

#include <array>
#include <charconv>
#include <cstdlib>
#include <ctime>
#include <limits>

#include <fmt/format.h>

namespace tavi::ctl {

namespace {

struct time_unit {
  char letter;
  std::int64_t seconds;
};

constexpr std::array<time_unit, 5> time_units = {
    {{'w', 604800}, {'d', 86400}, {'h', 3600}, {'m', 60}, {'s', 1}}};
constexpr std::string_view size_letters = "KMGT";
constexpr std::uint64_t size_step = 1024;
constexpr auto most_seconds = std::numeric_limits<std::int64_t>::max();

/// Takes the digits at the beginning away. @return the number; empty when there is none or it is too large
std::optional<std::int64_t> take_number(std::string_view& text) {
  auto const end = text.find_first_not_of("0123456789");
  auto const number = parse_number(text.substr(0, end), most_seconds);
  text.remove_prefix(end == std::string_view::npos ? text.size() : end);
  return number ? std::optional(static_cast<std::int64_t>(*number)) : std::nullopt;
}

/// The unit of this letter among those after the one used last. @return its place; the end when there is none
std::size_t find_unit(char letter, std::size_t from) {
  while (from < time_units.size() && time_units[from].letter != letter) {
    ++from;
  }
  return from;
}

/// total + count * unit. @return whether it fits
bool add_units(std::int64_t& total, std::int64_t count, std::int64_t unit) {
  if (count > (most_seconds - total) / unit) {
    return false;
  }
  total += count * unit;
  return true;
}

std::string format_calendar(std::tm const& parts) {
  return fmt::format("{:04}-{:02}-{:02}T{:02}:{:02}:{:02}", std::int64_t{parts.tm_year} + 1900,
                     parts.tm_mon + 1, parts.tm_mday, parts.tm_hour, parts.tm_min, parts.tm_sec);
}

}  // namespace

std::optional<std::uint64_t> parse_number(std::string_view text, std::uint64_t most) {
  std::uint64_t number = 0;
  auto const [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
  if (error != std::errc() || end != text.data() + text.size() || number > most) {
    return std::nullopt;
  }
  return number;
}

std::optional<std::chrono::seconds> parse_duration(std::string_view text) {
  if (auto const plain = parse_number(text, most_seconds)) {
    return std::chrono::seconds(static_cast<std::int64_t>(*plain));
  }
  std::int64_t total = 0;
  std::size_t next_unit = 0;
  do {
    auto const count = take_number(text);
    if (!count || text.empty()) {
      return std::nullopt;
    }
    auto const unit = find_unit(text.front(), next_unit);
    if (unit == time_units.size() || !add_units(total, *count, time_units[unit].seconds)) {
      return std::nullopt;
    }
    next_unit = unit + 1;
    text.remove_prefix(1);
  } while (!text.empty());
  return std::chrono::seconds(total);
}

std::string format_duration(std::chrono::seconds duration) {
  if (duration.count() <= 0) {
    return fmt::format("{}s", duration.count());
  }
  std::string text;
  auto left = duration.count();
  // Weeks are read but not written: "14d" is what people say.
  for (auto unit = time_units.begin() + 1; unit != time_units.end(); ++unit) {
    if (auto const count = left / unit->seconds; count > 0) {
      text += fmt::format("{}{}", count, unit->letter);
      left %= unit->seconds;
    }
  }
  return text;
}

std::string format_age(std::chrono::seconds age) {
  if (age.count() <= 0) {
    return "now";
  }
  auto unit = time_units.begin() + 1;
  while (age.count() < unit->seconds) {
    ++unit;
  }
  auto text = fmt::format("{}{}", age.count() / unit->seconds, unit->letter);
  auto const left = age.count() % unit->seconds;
  auto const smaller = unit + 1;
  if (smaller != time_units.end() && left >= smaller->seconds) {
    text += fmt::format(" {}{}", left / smaller->seconds, smaller->letter);
  }
  return text;
}

std::optional<std::uint64_t> parse_size(std::string_view text) {
  if (text.size() > 2 && text.ends_with("iB")) {
    text.remove_suffix(2);
    if (text.find_last_of("0123456789") + 1 == text.size()) {
      return std::nullopt;
    }
  }
  std::uint64_t factor = 1;
  if (!text.empty()) {
    auto const letter = text.back() >= 'a' ? static_cast<char>(text.back() - 'a' + 'A') : text.back();
    if (auto const power = size_letters.find(letter); power != std::string_view::npos) {
      factor <<= 10 * (power + 1);
      text.remove_suffix(1);
    }
  }
  auto const number = parse_number(text, std::numeric_limits<std::uint64_t>::max() / factor);
  return number ? std::optional(*number * factor) : std::nullopt;
}

std::string format_size(std::uint64_t bytes) {
  if (bytes < size_step) {
    return fmt::format("{} B", bytes);
  }
  auto amount = static_cast<double>(bytes) / size_step;
  std::size_t power = 0;
  // What would be written as 1024 belongs to the next unit.
  while (amount >= size_step - 0.5 && power + 1 < size_letters.size()) {
    amount /= size_step;
    ++power;
  }
  return fmt::format("{:.{}f} {}iB", amount, amount < 9.95 ? 1 : 0, size_letters[power]);
}

std::string format_utc(std::int64_t seconds_since_epoch) {
  std::time_t const moment = seconds_since_epoch;
  std::tm parts{};
  return gmtime_r(&moment, &parts) == nullptr ? "" : format_calendar(parts) + 'Z';
}

std::string format_local(std::int64_t seconds_since_epoch) {
  std::time_t const moment = seconds_since_epoch;
  std::tm parts{};
  // Otherwise it goes by the time zone of the first use in the process.
  ::tzset();
  if (localtime_r(&moment, &parts) == nullptr) {
    return {};
  }
  auto const minutes = std::abs(parts.tm_gmtoff) / 60;
  return fmt::format("{}{}{:02}:{:02}", format_calendar(parts), parts.tm_gmtoff < 0 ? '-' : '+', minutes / 60,
                     minutes % 60);
}

}  // namespace tavi::ctl
