#include "report_quota.h"

#include <cstdint>
#include <limits>

#include <gtest/gtest.h>

#include "diagnostic_fixture.h"

namespace tavi::stations_maintenance {
namespace {

constexpr auto most_reports = std::numeric_limits<std::uint32_t>::max();
constexpr auto most_bytes = std::numeric_limits<std::uint64_t>::max();

TEST(ReportQuota, ReachesACountExactlyAtItsLimit) {
  report_quota const quota{.max_periodic_reports = 2, .max_manual_reports = 5};
  EXPECT_FALSE(quota.is_count_reached(periodic, 0));
  EXPECT_FALSE(quota.is_count_reached(periodic, 1));
  EXPECT_TRUE(quota.is_count_reached(periodic, 2));
  EXPECT_TRUE(quota.is_count_reached(periodic, 3));
  EXPECT_FALSE(quota.is_count_reached(manual, 4));
  EXPECT_TRUE(quota.is_count_reached(manual, 5));
  EXPECT_TRUE(quota.is_count_reached(manual, most_reports));
}

TEST(ReportQuota, HasReachedALimitOfZeroBeforeTheFirstReport) {
  report_quota const quota{.max_periodic_reports = 0, .max_manual_reports = 0};
  EXPECT_TRUE(quota.is_count_reached(periodic, 0));
  EXPECT_TRUE(quota.is_count_reached(manual, 0));
}

TEST(ReportQuota, ReachesTheLargestLimitOnlyWithAsManyReports) {
  report_quota const quota{.max_periodic_reports = most_reports};
  EXPECT_FALSE(quota.is_count_reached(periodic, most_reports - 1));
  EXPECT_TRUE(quota.is_count_reached(periodic, most_reports));
}

TEST(ReportQuota, NeverReachesACountOfWhatIsNoType) {
  report_quota const quota{};
  EXPECT_FALSE(quota.is_count_reached(static_cast<diagnostic_report_type>(2), most_reports));
  EXPECT_FALSE(quota.is_count_reached(static_cast<diagnostic_report_type>(-1), most_reports));
}

struct room_case {
  std::uint64_t budget;
  std::uint64_t stored;
  std::uint64_t size;
  bool has_room;
};

TEST(ReportQuota, HasRoomOnlyForWhatLeavesTheTotalBelowTheBudget) {
  for (auto const& [budget, stored, size, has_room] : {room_case{100, 60, 39, true},
                                                       {100, 60, 40, false},
                                                       {100, 60, 41, false},
                                                       {100, 0, 99, true},
                                                       {100, 0, 100, false},
                                                       {100, 99, 0, true},
                                                       {100, 100, 0, false},
                                                       {1, 0, 0, true},
                                                       {0, 0, 0, false}}) {
    EXPECT_EQ(report_quota{.max_total_directory_size = budget}.has_room(stored, size), has_room)
        << size << " beside " << stored << " of " << budget;
  }
}

TEST(ReportQuota, HasNoRoomWhereTheSumLeavesTheRangeOfNumbers) {
  report_quota const quota{.max_total_directory_size = most_bytes};
  EXPECT_TRUE(quota.has_room(0, most_bytes - 1));
  EXPECT_FALSE(quota.has_room(0, most_bytes)) << "the size of a file that is not known";
  EXPECT_TRUE(quota.has_room(60, most_bytes - 61));
  EXPECT_FALSE(quota.has_room(60, most_bytes - 60));
  EXPECT_FALSE(quota.has_room(60, most_bytes - 59)) << "would wrap around to nothing";
  EXPECT_FALSE(quota.has_room(most_bytes, most_bytes));
}

}  // namespace
}  // namespace tavi::stations_maintenance
