#include "pending_upload.h"

#include <string>
#include <type_traits>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "firmware_fixture.h"
#include "log_gate.h"

namespace tavi::stations_maintenance {
namespace {

using pending = pending_upload;
using testing::ElementsAre;
using testing::IsEmpty;
using namespace std::chrono_literals;

static_assert(!std::is_copy_constructible_v<pending> && !std::is_move_constructible_v<pending>);

constexpr char const* timeout_line = "[fw_storage_mgr] Timeout for the upload of firmware with token token";

TEST(PendingUpload, KeepsWhatItIsGiven) {
  log_capture log;
  pending const one(1h, "token", 7, "1.2", {"X7", "Y2"}, status::pending_upload);
  EXPECT_EQ(one.token, "token");
  EXPECT_EQ(one.firmware_id, 7U);
  EXPECT_EQ(one.version, "1.2");
  EXPECT_THAT(one.models, ElementsAre("X7", "Y2"));
  EXPECT_EQ(one.status, status::pending_upload);
  EXPECT_NE(one.timer, nullptr);
  EXPECT_THAT(log.lines(), IsEmpty());
}

/// Whether an upload has failed, once its time-out, of which the log has told, has been noted.
bool has_failed(pending const& one) {
  one.timer->stop_and_wait();
  return one.status == status::failed;
}

TEST(PendingUpload, HasFailedOnceItsTimeIsOver) {
  log_capture log;
  pending const one(20ms, "token", 7, std::nullopt, {"X7"}, status::pending_upload);
  ASSERT_TRUE(log.wait_for(spdlog::level::err, timeout_line, patience));
  EXPECT_TRUE(has_failed(one));
  EXPECT_THAT(log.lines(), ElementsAre(log_line{spdlog::level::err, timeout_line}));
  EXPECT_EQ(one.token, "token");
  EXPECT_EQ(one.version, std::nullopt);
}

TEST(PendingUpload, TellsOfItsTimeBeforeItHasFailed) {
  log_gate gate;
  pending const one(1ms, "token", 7, "1", {"X7"}, status::pending_upload);
  EXPECT_TRUE(gate.wait_for_arrival(patience));
  EXPECT_EQ(one.status, status::pending_upload);
  gate.open();
  EXPECT_TRUE(has_failed(one));
}

TEST(PendingUpload, TellsOfItsTimeOnce) {
  log_capture log;
  pending const one(20ms, "token", 7, "1", {"X7"}, status::pending_upload);
  ASSERT_TRUE(log.wait_for(spdlog::level::err, timeout_line, patience));
  pending const several_periods_later(200ms, "later", 8, "1", {"X7"}, status::pending_upload);
  ASSERT_TRUE(log.wait_for(spdlog::level::err, "with token later", patience));
  EXPECT_THAT(log.lines(), testing::Contains(log_line{spdlog::level::err, timeout_line}).Times(1));
}

TEST(PendingUpload, HasFailedAtOnceWithoutAnyTime) {
  log_capture log;
  for (auto const none : {0ms, -5ms}) {
    log.clear();
    pending const one(none, "token", 7, "1", {"X7"}, status::pending_upload);
    ASSERT_TRUE(log.wait_for(spdlog::level::err, timeout_line, patience));
    EXPECT_TRUE(has_failed(one));
  }
}

TEST(PendingUpload, WaitsForEverWhenItsTimeIsLongerThanTheClockCanTell) {
  log_capture log;
  pending const one(std::chrono::milliseconds::max(), "token", 7, "1", {"X7"}, status::pending_upload);
  EXPECT_TRUE(log.holds(spdlog::level::err, "[timer] cannot start with a period of"));
  EXPECT_EQ(one.status, status::pending_upload);
}

TEST(PendingUpload, TakesItsTimeOutWithIt) {
  log_capture log;
  { pending const gone(1s, "gone", 7, "1", {"X7"}, status::pending_upload); }
  pending const later(1200ms, "token", 8, "1", {"X7"}, status::pending_upload);
  ASSERT_TRUE(log.wait_for(spdlog::level::err, timeout_line, patience));
  EXPECT_THAT(log.lines(), ElementsAre(log_line{spdlog::level::err, timeout_line}));
}

}  // namespace
}  // namespace tavi::stations_maintenance
