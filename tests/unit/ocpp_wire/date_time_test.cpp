#include "date_time.h"

#include <ostream>
#include <string>

#include <gtest/gtest.h>

namespace {

using namespace std::chrono_literals;
using tavi::ocpp_wire::date_time;
using tavi::ocpp_wire::parse_date_time;
using tavi::ocpp_wire::to_utc_iso8601;

/// 2026-11-20T13:05:09Z
constexpr auto a_moment = date_time(1795179909s);

struct good_row {
  std::string text;
  date_time expected;
};

void PrintTo(good_row const& row, std::ostream* out) {
  *out << row.text;
}

class GoodDateTime : public testing::TestWithParam<good_row> {};

TEST_P(GoodDateTime, IsRead) {
  EXPECT_EQ(parse_date_time(GetParam().text), GetParam().expected);
}

INSTANTIATE_TEST_SUITE_P(Rows, GoodDateTime,
                         testing::Values(good_row{"2026-11-20T13:05:09Z", a_moment},
                                         good_row{"2026-11-20t13:05:09z", a_moment},
                                         good_row{"2026-11-20T13:05:09", a_moment},
                                         good_row{"2026-11-20T13:05:09.042Z", a_moment + 42ms},
                                         good_row{"2026-11-20T13:05:09,5Z", a_moment + 500ms},
                                         good_row{"2026-11-20T13:05:09.0429999999999Z", a_moment + 42ms},
                                         good_row{"2026-11-20T14:05:09+01:00", a_moment},
                                         good_row{"2026-11-20T14:05:09+0100", a_moment},
                                         good_row{"2026-11-20T14:05:09+01", a_moment},
                                         good_row{"2026-11-20T07:35:09-05:30", a_moment},
                                         good_row{"2026-11-21T00:35:09.5+11:30", a_moment + 500ms},
                                         good_row{"1970-01-01T00:00:00Z", date_time(0ms)},
                                         good_row{"1969-12-31T23:59:59Z", date_time(-1s)},
                                         good_row{"2024-02-29T00:00:00Z", date_time(1709164800s)},
                                         good_row{"2016-12-31T23:59:60Z", date_time(1483228800s)},
                                         good_row{"9999-12-31T23:59:59Z", date_time(253402300799s)},
                                         good_row{"0001-01-01T00:00:00Z", date_time(-62135596800s)}));

class BadDateTime : public testing::TestWithParam<std::string> {};

TEST_P(BadDateTime, IsRefused) {
  EXPECT_EQ(parse_date_time(GetParam()), std::nullopt);
}

INSTANTIATE_TEST_SUITE_P(
    Rows, BadDateTime,
    testing::Values("", "now", "2026-11-20", "13:05:09Z", "2026-11-20 13:05:09Z", "2026-11-20T13:05Z",
                    "2026-13-20T13:05:09Z", "2026-00-20T13:05:09Z", "2026-11-31T13:05:09Z",
                    "2025-02-29T13:05:09Z", "2026-11-20T24:05:09Z", "2026-11-20T13:60:09Z",
                    "2026-11-20T13:05:61Z", "2026-11-20T13:05:09.Z", "2026-11-20T13:05:09ZZ",
                    "2026-11-20T13:05:09+1", "2026-11-20T13:05:09+24:00", "2026-11-20T13:05:09+01:60",
                    "2026-11-20T13:05:09+01:", "2026-11-20T13:05:09+", "2026-11-20T13:05:09 Z",
                    "26-11-20T13:05:09Z", "+2026-11-20T13:05:09Z", "2026-1-20T13:05:09Z",
                    "2026-11-20T1:05:09Z", std::string("2026-11-20T13:05:09\0Z", 21), "\xff\xfe"));

TEST(UtcTime, WritesMillisecondsWithLeadingZeros) {
  std::chrono::system_clock::time_point const moment(1795183509s);
  EXPECT_EQ(to_utc_iso8601(moment), "2026-11-20T14:05:09.000Z");
  EXPECT_EQ(to_utc_iso8601(moment + 7ms), "2026-11-20T14:05:09.007Z");
  EXPECT_EQ(to_utc_iso8601(moment - 1ms), "2026-11-20T14:05:08.999Z");
}

}  // namespace
