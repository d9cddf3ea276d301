#include "uploads/announcer.h"

#include <string>
#include <vector>

#include <gmock/gmock.h>

namespace tavi::site::uploads {
namespace {

using std::chrono::milliseconds;
using std::chrono::seconds;
using testing::ElementsAre;
using testing::IsEmpty;

constexpr auto start = announcer::time_point(std::chrono::hours(1000));
constexpr auto tick = announcer::time_point::duration(1);

std::vector<std::string> ids(std::vector<finished_upload> const& uploads) {
  std::vector<std::string> found;
  for (auto const& upload : uploads) {
    found.push_back(upload.id);
  }
  return found;
}

class AnnouncerTest : public testing::Test {
 protected:
  void add(std::string const& id, announcer::time_point expires_at = start + seconds(1000)) {
    finished_upload upload;
    upload.id = id;
    upload.expires_at = expires_at;
    schedule.add(upload, start);
  }
  announcer::work at(announcer::time_point now) {
    return schedule.take_due(now, [this](finished_upload const& upload) { return upload.id != taken; });
  }

  announcer schedule{announcement_intervals{}};
  std::string taken;
};

TEST(NextAnnouncementTest, ComesSoonTwiceAndThenEveryHalfMinute) {
  announcement_intervals const usual;
  EXPECT_EQ(next_announcement(1, usual), seconds(1));
  EXPECT_EQ(next_announcement(2, usual), seconds(5));
  EXPECT_EQ(next_announcement(3, usual), seconds(30));
  EXPECT_EQ(next_announcement(4, usual), seconds(30));
  EXPECT_EQ(next_announcement(4000000000U, usual), seconds(30));
}

TEST(NextAnnouncementTest, IntervalsCanBeChosen) {
  announcement_intervals const quick{milliseconds(1), milliseconds(2), milliseconds(3)};
  EXPECT_EQ(next_announcement(1, quick), milliseconds(1));
  EXPECT_EQ(next_announcement(2, quick), milliseconds(2));
  EXPECT_EQ(next_announcement(3, quick), milliseconds(3));
}

TEST_F(AnnouncerTest, NothingIsDueWithoutUploads) {
  EXPECT_FALSE(schedule.next_due().has_value());
  EXPECT_THAT(at(start).to_announce, IsEmpty());
}

TEST_F(AnnouncerTest, IsAnnouncedAtOnceAndThenAfterEachInterval) {
  add("a");
  auto now = start;
  for (auto const gap : {seconds(1), seconds(5), seconds(30), seconds(30)}) {
    EXPECT_EQ(schedule.next_due(), now);
    EXPECT_THAT(ids(at(now).to_announce), ElementsAre("a"));
    EXPECT_THAT(ids(at(now).to_announce), IsEmpty());
    EXPECT_THAT(ids(at(now + gap - tick).to_announce), IsEmpty());
    now += gap;
  }
}

TEST_F(AnnouncerTest, UploadThatWasTakenIsFollowedNoMore) {
  add("a");
  add("b");
  at(start);
  taken = "a";

  auto const work = at(start + seconds(1));

  EXPECT_THAT(ids(work.taken), ElementsAre("a"));
  EXPECT_THAT(ids(work.to_announce), ElementsAre("b"));
  EXPECT_THAT(ids(at(start + seconds(100)).to_announce), ElementsAre("b"));
}

TEST_F(AnnouncerTest, UploadWhoseTimeIsOverIsFollowedNoMore) {
  add("a", start + seconds(3));
  at(start);
  at(start + seconds(1));
  EXPECT_EQ(schedule.next_due(), start + seconds(3));
  EXPECT_THAT(ids(at(start + seconds(3) - tick).expired), IsEmpty());

  auto const work = at(start + seconds(3));

  EXPECT_THAT(ids(work.expired), ElementsAre("a"));
  EXPECT_THAT(work.to_announce, IsEmpty());
  EXPECT_FALSE(schedule.next_due().has_value());
}

TEST_F(AnnouncerTest, UploadTakenInTimeDoesNotExpire) {
  add("a", start + seconds(3));
  taken = "a";

  auto const work = at(start + seconds(50));

  EXPECT_THAT(ids(work.taken), ElementsAre("a"));
  EXPECT_THAT(work.expired, IsEmpty());
}

TEST_F(AnnouncerTest, MissedMomentsAreNotMadeUpFor) {
  add("a");
  at(start);

  EXPECT_THAT(ids(at(start + seconds(500)).to_announce), ElementsAre("a"));
  EXPECT_EQ(schedule.next_due(), start + seconds(505));
}

TEST_F(AnnouncerTest, EarliestOfAllIsNext) {
  add("a");
  at(start);
  add("b", start + milliseconds(500));
  at(start);
  EXPECT_EQ(schedule.next_due(), start + milliseconds(500));
}

}  // namespace
}  // namespace tavi::site::uploads
