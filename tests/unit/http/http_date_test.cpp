#include "http_date.h"

#include <string>

#include <gtest/gtest.h>

namespace tavi::http {
namespace {

using std::chrono::milliseconds;
using std::chrono::seconds;
using std::chrono::system_clock;

TEST(HttpDate, IsWrittenAsHttpHasIt) {
  EXPECT_EQ(to_http_date(system_clock::time_point(seconds(0))), "Thu, 01 Jan 1970 00:00:00 GMT");
  // date -u -d @1795179909
  EXPECT_EQ(to_http_date(system_clock::time_point(seconds(1'795'179'909))), "Fri, 20 Nov 2026 13:05:09 GMT");
  EXPECT_EQ(to_http_date(system_clock::time_point(seconds(1'709'164'800))), "Thu, 29 Feb 2024 00:00:00 GMT");
}

TEST(HttpDate, IsNeverAheadOfTheMoment) {
  EXPECT_EQ(to_http_date(system_clock::time_point(milliseconds(1'999))), "Thu, 01 Jan 1970 00:00:01 GMT");
}

}  // namespace
}  // namespace tavi::http
