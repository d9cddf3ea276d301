#include "text/quantity_text.h"

#include <limits>
#include <ostream>

#include <gtest/gtest.h>

namespace tavi::ctl {
namespace {

constexpr auto most_seconds = std::numeric_limits<std::int64_t>::max();

struct duration_case {
  char const* name;
  std::string text;
  std::optional<std::int64_t> seconds;
};

void PrintTo(duration_case const& row, std::ostream* out) {
  *out << row.name << ": " << row.text;
}

class GivenDuration : public testing::TestWithParam<duration_case> {};

TEST_P(GivenDuration, IsReadOrRefused) {
  auto const read = parse_duration(GetParam().text);
  EXPECT_EQ(read ? std::optional(read->count()) : std::nullopt, GetParam().seconds);
}

INSTANTIATE_TEST_SUITE_P(
    EveryKind, GivenDuration,
    testing::Values(
        duration_case{"PlainSeconds", "3600", 3600}, duration_case{"Zero", "0", 0},
        duration_case{"Seconds", "90s", 90}, duration_case{"Minutes", "5m", 300},
        duration_case{"Hours", "24h", 86400}, duration_case{"Days", "7d", 604800},
        duration_case{"Weeks", "2w", 1209600}, duration_case{"Several", "1h30m", 5400},
        duration_case{"AllUnits", "1w1d1h1m1s", 694861}, duration_case{"MoreThanItsUnitHolds", "100m", 6000},
        duration_case{"LargestPlain", "9223372036854775807", most_seconds},
        duration_case{"LargestWeeks", "15250284452471w", 15250284452471 * 604800},
        duration_case{"Empty", "", std::nullopt}, duration_case{"UnitOnly", "h", std::nullopt},
        duration_case{"NumberAfterUnit", "1h30", std::nullopt},
        duration_case{"SmallerUnitFirst", "30m1h", std::nullopt},
        duration_case{"UnitTwice", "1h1h", std::nullopt}, duration_case{"UnknownUnit", "5y", std::nullopt},
        duration_case{"UpperCase", "5H", std::nullopt}, duration_case{"Negative", "-5", std::nullopt},
        duration_case{"Plus", "+5", std::nullopt}, duration_case{"Fraction", "1.5h", std::nullopt},
        duration_case{"BlankBefore", " 5h", std::nullopt},
        duration_case{"BlankBetween", "1h 30m", std::nullopt},
        duration_case{"BlankBehind", "5h ", std::nullopt}, duration_case{"Hexadecimal", "0x10", std::nullopt},
        duration_case{"PlainTooLarge", "9223372036854775808", std::nullopt},
        duration_case{"WeeksTooLarge", "15250284452472w", std::nullopt},
        duration_case{"SumTooLarge", "15250284452471w7d", std::nullopt}),
    [](auto const& row) { return std::string(row.param.name); });

TEST(FormattedDuration, NamesItsUnits) {
  using std::chrono::seconds;
  EXPECT_EQ(format_duration(seconds(0)), "0s");
  EXPECT_EQ(format_duration(seconds(59)), "59s");
  EXPECT_EQ(format_duration(seconds(60)), "1m");
  EXPECT_EQ(format_duration(seconds(3600)), "1h");
  EXPECT_EQ(format_duration(seconds(86400)), "1d");
  EXPECT_EQ(format_duration(seconds(90061)), "1d1h1m1s");
  EXPECT_EQ(format_duration(seconds(14 * 86400)), "14d");
  EXPECT_EQ(format_duration(seconds(-5)), "-5s");
}

TEST(FormattedDuration, IsReadBackAsItWas) {
  for (std::int64_t const seconds :
       {0L, 1L, 59L, 60L, 61L, 3599L, 3601L, 86399L, 86401L, 694861L, most_seconds}) {
    EXPECT_EQ(parse_duration(format_duration(std::chrono::seconds(seconds))), std::chrono::seconds(seconds));
  }
}

TEST(FormattedAge, HasItsTwoLargestUnits) {
  using std::chrono::seconds;
  EXPECT_EQ(format_age(seconds(1)), "1s");
  EXPECT_EQ(format_age(seconds(59)), "59s");
  EXPECT_EQ(format_age(seconds(60)), "1m");
  EXPECT_EQ(format_age(seconds(61)), "1m 1s");
  EXPECT_EQ(format_age(seconds(3600)), "1h");
  EXPECT_EQ(format_age(seconds(3659)), "1h");
  EXPECT_EQ(format_age(seconds(3660)), "1h 1m");
  EXPECT_EQ(format_age(seconds(86400 * 3 + 3600 * 4 + 59)), "3d 4h");
  EXPECT_EQ(format_age(seconds(86400 * 400)), "400d");
}

TEST(FormattedAge, OfThisMomentOrTheFutureIsNow) {
  EXPECT_EQ(format_age(std::chrono::seconds(0)), "now");
  EXPECT_EQ(format_age(std::chrono::seconds(-1)), "now");
}

struct size_case {
  char const* name;
  std::string text;
  std::optional<std::uint64_t> bytes;
};

void PrintTo(size_case const& row, std::ostream* out) {
  *out << row.name << ": " << row.text;
}

class GivenSize : public testing::TestWithParam<size_case> {};

TEST_P(GivenSize, IsReadOrRefused) {
  EXPECT_EQ(parse_size(GetParam().text), GetParam().bytes);
}

INSTANTIATE_TEST_SUITE_P(
    EveryKind, GivenSize,
    testing::Values(size_case{"Plain", "1500", 1500}, size_case{"Zero", "0", 0},
                    size_case{"Kilo", "500k", 512000}, size_case{"KiloUpper", "500K", 512000},
                    size_case{"Mega", "10M", 10485760}, size_case{"MegaLower", "10m", 10485760},
                    size_case{"Giga", "2G", 2147483648}, size_case{"Tera", "1T", 1099511627776},
                    size_case{"WholeUnit", "10MiB", 10485760},
                    size_case{"Largest", "18446744073709551615", 18446744073709551615U},
                    size_case{"LargestTera", "16777215T", 16777215ULL << 40U},
                    size_case{"Empty", "", std::nullopt}, size_case{"UnitOnly", "M", std::nullopt},
                    size_case{"iBOnly", "iB", std::nullopt}, size_case{"iBWithoutUnit", "5iB", std::nullopt},
                    size_case{"UnknownUnit", "5P", std::nullopt},
                    size_case{"DecimalUnit", "5MB", std::nullopt}, size_case{"Negative", "-5M", std::nullopt},
                    size_case{"Fraction", "1.5M", std::nullopt}, size_case{"Blank", "5 M", std::nullopt},
                    size_case{"UnitTwice", "5kk", std::nullopt},
                    size_case{"TooLarge", "18446744073709551616", std::nullopt},
                    size_case{"TooManyTera", "16777216T", std::nullopt}),
    [](auto const& row) { return std::string(row.param.name); });

TEST(FormattedSize, IsRoundedToItsUnit) {
  EXPECT_EQ(format_size(0), "0 B");
  EXPECT_EQ(format_size(1023), "1023 B");
  EXPECT_EQ(format_size(1024), "1.0 KiB");
  EXPECT_EQ(format_size(1536), "1.5 KiB");
  EXPECT_EQ(format_size(10 * 1024), "10 KiB");
  EXPECT_EQ(format_size(10137), "9.9 KiB");
  EXPECT_EQ(format_size(10220), "10 KiB");
  EXPECT_EQ(format_size(1024 * 1024 - 1), "1.0 MiB");
  EXPECT_EQ(format_size(21ULL << 20U), "21 MiB");
  EXPECT_EQ(format_size(4294967295), "4.0 GiB");
  EXPECT_EQ(format_size(1ULL << 40U), "1.0 TiB");
  EXPECT_EQ(format_size(std::numeric_limits<std::uint64_t>::max()), "16777216 TiB");
}

TEST(FormattedMoment, IsIso8601InUtc) {
  EXPECT_EQ(format_utc(0), "1970-01-01T00:00:00Z");
  EXPECT_EQ(format_utc(1795179909), "2026-11-20T13:05:09Z");
  EXPECT_EQ(format_utc(-1), "1969-12-31T23:59:59Z");
}

TEST(FormattedMoment, HasItsDistanceFromUtcByTheClockOfTheMachine) {
  setenv("TZ", "UTC+3:30", 1);
  EXPECT_EQ(format_local(1795179909), "2026-11-20T09:35:09-03:30");
  setenv("TZ", "UTC-1", 1);
  EXPECT_EQ(format_local(0), "1970-01-01T01:00:00+01:00");
  unsetenv("TZ");
}

TEST(FormattedMoment, BeyondTheCalendarIsEmpty) {
  EXPECT_EQ(format_local(most_seconds), "");
  EXPECT_EQ(format_utc(most_seconds), "");
  EXPECT_EQ(format_utc(std::numeric_limits<std::int64_t>::min()), "");
}

TEST(GivenNumber, HasDigitsOnly) {
  EXPECT_EQ(parse_number("10", 10), 10U);
  EXPECT_EQ(parse_number("010", 10), 10U);
  EXPECT_EQ(parse_number("11", 10), std::nullopt);
  EXPECT_EQ(parse_number("", 10), std::nullopt);
  EXPECT_EQ(parse_number("1x", 10), std::nullopt);
  EXPECT_EQ(parse_number("-0", 10), std::nullopt);
}

}  // namespace
}  // namespace tavi::ctl
