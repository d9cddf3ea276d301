#include "firmware/cut_reports.h"

#include <optional>

#include <gtest/gtest.h>

namespace tavi::site {
namespace {

using std::chrono::milliseconds;

constexpr milliseconds a_little(1);

class CutReportsTest : public testing::Test {
 protected:
  cut_reports reports;
  cut_reports::time_point const begin{std::chrono::hours(1)};
};

TEST_F(CutReportsTest, FirstOneIsToldAtOnce) {
  EXPECT_EQ(reports.add("a", begin), 1U);
  EXPECT_EQ(reports.add("b", begin), 1U) << "of another token";
}

TEST_F(CutReportsTest, FurtherOnesAreToldTogetherWhenTheIntervalIsOver) {
  ASSERT_EQ(reports.add("a", begin), 1U);
  EXPECT_EQ(reports.add("a", begin), std::nullopt);
  EXPECT_EQ(reports.add("a", begin + cut_reports::interval - a_little), std::nullopt);
  EXPECT_EQ(reports.add("a", begin + cut_reports::interval), 3U);
  EXPECT_EQ(reports.add("a", begin + cut_reports::interval + a_little), std::nullopt);
  EXPECT_EQ(reports.add("a", begin + 2 * cut_reports::interval), 2U);
}

TEST_F(CutReportsTest, TokenIsForgottenAfterAQuietTime) {
  ASSERT_EQ(reports.add("a", begin), 1U);
  ASSERT_EQ(reports.add("a", begin + a_little), std::nullopt);
  auto const forgotten = begin + a_little + cut_reports::memory;
  EXPECT_EQ(reports.add("b", forgotten - a_little), 1U);
  EXPECT_EQ(reports.add("a", forgotten), 1U);
}

TEST_F(CutReportsTest, TokenIsKeptInMindUntilThen) {
  ASSERT_EQ(reports.add("a", begin), 1U);
  ASSERT_EQ(reports.add("a", begin + a_little), std::nullopt);
  EXPECT_EQ(reports.add("a", begin + cut_reports::memory), 2U);
}

}  // namespace
}  // namespace tavi::site
