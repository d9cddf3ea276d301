#include "expected_uploads.h"

#include <atomic>
#include <latch>
#include <string>
#include <thread>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "diagnostic_fixture.h"
#include "sanitizer.h"

namespace tavi::stations_maintenance {
namespace {

TEST(ExpectedReportType, IsAllZeroWhenMadeAnew) {
  expected_report_type const fresh{};
  EXPECT_EQ(fresh.station_id, 0U);
  EXPECT_EQ(fresh.type, periodic);
}

TEST(ExpectedUploads, KnowATokenExactlyAsItWasHandedOut) {
  expected_uploads uploads;
  uploads.insert("Token", {8, manual});
  EXPECT_TRUE(uploads.is_known("Token"));
  EXPECT_FALSE(uploads.is_known("token"));
  EXPECT_FALSE(uploads.is_known("Token "));
  EXPECT_FALSE(uploads.is_known(""));
  EXPECT_EQ(uploads.get_or_insert("Token"), (expected_report_type{8, manual}));
}

TEST(ExpectedUploads, KnowAnEmptyTokenOnceItWasHandedOut) {
  expected_uploads uploads;
  uploads.insert("", {8, manual});
  EXPECT_TRUE(uploads.is_known(""));
}

TEST(ExpectedUploads, KeepTheLaterStationWhenATokenComesTwice) {
  expected_uploads uploads;
  uploads.insert("token", {8, manual});
  uploads.insert("token", {9, periodic});
  EXPECT_EQ(uploads.get_or_insert("token"), (expected_report_type{9, periodic}));
  uploads.remove("token");
  EXPECT_FALSE(uploads.is_known("token"));
}

TEST(ExpectedUploads, RememberATokenThatWasAskedForAsOneOfStationZero) {
  expected_uploads uploads;
  EXPECT_EQ(uploads.get_or_insert("never handed out"), expected_report_type{});
  EXPECT_TRUE(uploads.is_known("never handed out"));
}

TEST(ExpectedUploads, ForgetOneTokenOnly) {
  expected_uploads uploads;
  uploads.insert("a", {1, manual});
  uploads.insert("b", {2, manual});
  uploads.remove("a");
  uploads.remove("never handed out");
  EXPECT_FALSE(uploads.is_known("a"));
  EXPECT_TRUE(uploads.is_known("b"));
}

TEST(ExpectedUploads, LoseNothingWhenManyThreadsUseThemAtOnce) {
  constexpr unsigned int stations = 4;
  constexpr int tokens_of_each = is_slowed_by_sanitizer ? 1'000 : 20'000;
  expected_uploads uploads;
  std::latch all_are_there(stations);
  std::atomic<int> lost = 0;
  std::vector<std::thread> threads;
  for (unsigned int station = 1; station <= stations; ++station) {
    threads.emplace_back([&, station] {
      all_are_there.arrive_and_wait();
      for (int number = 0; number < tokens_of_each; ++number) {
        auto const token = std::to_string(station) + "/" + std::to_string(number);
        uploads.insert(token, {station, manual});
        lost += uploads.is_known(token) && uploads.get_or_insert(token).station_id == station ? 0 : 1;
        uploads.remove(token);
      }
    });
  }
  for (auto& thread : threads) {
    thread.join();
  }
  EXPECT_EQ(lost, 0);
}

}  // namespace
}  // namespace tavi::stations_maintenance
