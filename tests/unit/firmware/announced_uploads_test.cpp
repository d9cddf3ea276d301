#include "announced_uploads.h"

#include <chrono>
#include <future>
#include <string>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "firmware_fixture.h"

namespace tavi::stations_maintenance {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using namespace std::chrono_literals;

class AnnouncedUploads : public FirmwareManagerTest {
 protected:
  /// Adds a row for a firmware and awaits its file. @return its id
  unsigned int given_awaited(std::string const& token, std::string const& version = "1",
                             std::chrono::milliseconds timeout = 1h) {
    unsigned int id = 0;
    EXPECT_EQ(run.table.add_firmware(version, {"X7"}, id), 0U);
    uploads.without_lock().await(timeout, token, id, version, {"X7"});
    return id;
  }

  [[nodiscard]] std::vector<unsigned int> failed_ids() {
    std::vector<unsigned int> ids;
    auto const view = uploads.without_lock();
    for (auto const& one : view.failed()) {
      ids.push_back(one.id);
    }
    return ids;
  }

  announced_uploads uploads{run.table};
};

TEST_F(AnnouncedUploads, AreFoundByTokenAndByFirmware) {
  auto const first = given_awaited("first");
  auto const second = given_awaited("second");
  auto const view = uploads.lock();
  EXPECT_EQ(view.find("second"), view.find(second));
  EXPECT_EQ(view.find(first)->token, "first");
  EXPECT_EQ(view.find(first)->status, status::pending_upload);
  EXPECT_EQ(view.find("third"), nullptr);
  EXPECT_EQ(view.find(second + 1), nullptr);
}

TEST_F(AnnouncedUploads, AreLockedAsLongAsAViewThatLocksLives) {
  std::future<void> other;
  {
    auto const view = uploads.lock();
    other = std::async(std::launch::async, [this] { static_cast<void>(uploads.lock()); });
    EXPECT_EQ(other.wait_for(100ms), std::future_status::timeout);
  }
  EXPECT_EQ(other.wait_for(patience), std::future_status::ready);
}

TEST_F(AnnouncedUploads, AreSeenWithoutWaitingByAViewThatDoesNotLock) {
  auto const id = given_awaited("token");
  auto const view = uploads.lock();
  EXPECT_NE(uploads.without_lock().find(id), nullptr);
}

TEST_F(AnnouncedUploads, AreAwaitedNoLongerOnceForgotten) {
  auto const first = given_awaited("first");
  auto const second = given_awaited("second");
  uploads.lock().forget(first);
  uploads.lock().forget(first);
  EXPECT_EQ(uploads.lock().find("first"), nullptr);
  EXPECT_NE(uploads.lock().find(second), nullptr);
  EXPECT_THAT(failed_ids(), IsEmpty());
  EXPECT_THAT(run.row_ids(), ElementsAre(first, second));
}

TEST_F(AnnouncedUploads, LoseRowAndTimeOutWhenTheyFailAndAreRememberedInTheOrderOfTheirFailure) {
  auto const first = given_awaited("first");
  auto const second = given_awaited("second");
  auto view = uploads.lock();
  view.fail(second, status::without_version);
  view.fail(first, status::failed);
  EXPECT_EQ(view.find("first"), nullptr);
  EXPECT_THAT(view.failed(),
              ElementsAre(station_firmware_info{second, "1", "", 0, "", {"X7"}, status::without_version},
                          station_firmware_info{first, "1", "", 0, "", {"X7"}, status::failed}));
  EXPECT_THAT(run.row_ids(), IsEmpty());
}

TEST_F(AnnouncedUploads, ForgetTheOneFailedUploadThatIsNamed) {
  auto const first = given_awaited("first");
  auto const second = given_awaited("second");
  auto const third = given_awaited("third");
  for (auto const id : {first, second, third}) {
    uploads.lock().fail(id, status::failed);
  }
  EXPECT_TRUE(uploads.without_lock().forget_failed(second));
  EXPECT_THAT(failed_ids(), ElementsAre(first, third));
  EXPECT_FALSE(uploads.without_lock().forget_failed(second));
  EXPECT_THAT(failed_ids(), ElementsAre(first, third));
}

TEST_F(AnnouncedUploads, DoNotCountAsStoredEvenWhenTheirTimeIsOver) {
  given_awaited("awaited", "1");
  auto const overdue = given_awaited("overdue", "2", 1ms);
  ASSERT_TRUE(log.wait_for(spdlog::level::err, "with token overdue", patience));
  auto const view = uploads.lock();
  view.find(overdue)->timer->stop_and_wait();
  ASSERT_EQ(view.find(overdue)->status, status::failed);
  EXPECT_FALSE(view.is_stored("1", {"X7"}));
  EXPECT_FALSE(view.is_stored("2", {"X7"}));
  static_cast<void>(run.given_row("3", "/file"));
  EXPECT_TRUE(view.is_stored("3", {"Y2", "X7"}));
  EXPECT_FALSE(view.is_stored("3", {"Y2"}));
}

}  // namespace
}  // namespace tavi::stations_maintenance
