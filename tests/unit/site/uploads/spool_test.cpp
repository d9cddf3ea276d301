#include "uploads/spool.h"

#include <sys/stat.h>

#include <algorithm>
#include <memory>
#include <set>
#include <string>

#include <gtest/gtest.h>

#include "log_capture.h"
#include "temporary_folder.h"

namespace tavi::site::uploads {
namespace {

namespace fs = std::filesystem;
using std::chrono::seconds;

constexpr auto time_of_start = std::chrono::steady_clock::time_point(std::chrono::hours(1000));
constexpr auto wall = std::chrono::system_clock::time_point(std::chrono::hours(500000));
constexpr std::int64_t wall_seconds = 500000LL * 3600;

unsigned int mode_of(fs::path const& path) {
  struct stat status {};
  ::stat(path.c_str(), &status);
  return status.st_mode & 07777U;
}

std::string sidecar_of(std::int64_t expires_at) {
  return R"({"token":"token","owner":"owner","name":"../name.zip","expires_at":)" +
         std::to_string(expires_at) + "}";
}

class SpoolTest : public testing::Test {
 protected:
  void SetUp() override { open(); }

  std::vector<finished_upload> open() {
    files = std::make_unique<spool>(folder, 1000);
    auto left = files->open({time_of_start, wall});
    EXPECT_TRUE(left.has_value());
    return left.value_or(std::vector<finished_upload>());
  }
  std::unique_ptr<partial_upload> begin() {
    std::error_code error;
    auto upload = files->begin(error);
    EXPECT_FALSE(error) << error.message();
    return upload;
  }
  /// A finished upload. @return its id
  std::string put(std::string const& content, std::int64_t expires_at = wall_seconds + 60) {
    auto upload = begin();
    EXPECT_TRUE(files->reserve(*upload, content.size()));
    EXPECT_FALSE(upload->write(content));
    EXPECT_FALSE(upload->commit(sidecar_of(expires_at)));
    files->adopt(*upload);
    return upload->id();
  }
  [[nodiscard]] std::set<std::string> names() const {
    std::set<std::string> found;
    for (auto const& entry : fs::directory_iterator(folder)) {
      found.insert(entry.path().filename().string());
    }
    return found;
  }
  bool has_room(std::uint64_t bytes) {
    auto const upload = begin();
    return files->reserve(*upload, bytes);
  }

  log_capture log;
  temporary_folder root;
  fs::path folder = root.path() / "var" / "spool";
  std::unique_ptr<spool> files;
};

using name_set = std::set<std::string>;

TEST_F(SpoolTest, FolderIsMadeForOwnerAndGroup) {
  EXPECT_EQ(mode_of(folder), 0770U) << "who takes files away writes to the folder";
  EXPECT_TRUE(names().empty());
}

TEST_F(SpoolTest, UploadIsPartialUntilItIsCommitted) {
  auto const upload = begin();
  ASSERT_FALSE(upload->write("content"));
  EXPECT_EQ(names(), name_set{upload->id() + ".part"});

  ASSERT_FALSE(upload->commit(sidecar_of(1)));

  EXPECT_EQ(names(), (name_set{upload->id() + ".upload", upload->id() + ".json"}));
  EXPECT_EQ(content_of(upload->file_path()), "content");
  EXPECT_EQ(mode_of(upload->file_path()), 0640U);
  EXPECT_EQ(mode_of(folder / (upload->id() + ".json")), 0600U);
}

TEST_F(SpoolTest, ModesDoNotDependOnTheMaskOfTheProcess) {
  auto const before = ::umask(0077);
  auto const upload = begin();
  ::umask(before);

  EXPECT_EQ(mode_of(folder / (upload->id() + ".part")), 0640U);
}

TEST_F(SpoolTest, AbandonedUploadLeavesNothingBehind) {
  auto upload = begin();
  ASSERT_TRUE(files->reserve(*upload, 1000));
  ASSERT_FALSE(upload->write("content"));

  upload.reset();

  EXPECT_TRUE(names().empty());
  EXPECT_TRUE(has_room(1000));
}

TEST_F(SpoolTest, CommitThatFailsLeavesNothingBehind) {
  auto upload = begin();
  ASSERT_FALSE(upload->write("content"));
  fs::create_directories(folder / (upload->id() + ".upload") / "in the way");

  EXPECT_TRUE(upload->commit(sidecar_of(1)));
  fs::remove_all(folder / (upload->id() + ".upload"));
  upload.reset();

  EXPECT_TRUE(names().empty());
}

TEST_F(SpoolTest, SidecarOfAnotherIsNotOverwritten) {
  auto const upload = begin();
  auto const sidecar = root.write("var/spool/" + upload->id() + ".json", "of another");

  EXPECT_EQ(upload->commit(sidecar_of(1)), std::errc::file_exists);
  EXPECT_FALSE(fs::exists(upload->file_path()));
}

TEST_F(SpoolTest, BudgetCanBeFilledExactly) {
  auto const first = begin();
  EXPECT_TRUE(files->reserve(*first, 600));
  EXPECT_FALSE(has_room(401));
  EXPECT_TRUE(has_room(400));
  EXPECT_TRUE(files->reserve(*first, 1000));
  EXPECT_TRUE(files->reserve(*first, 10)) << "less than there is already";
  EXPECT_FALSE(files->reserve(*first, 1001));
  EXPECT_FALSE(files->reserve(*first, ~std::uint64_t{0}));
  EXPECT_FALSE(has_room(1));
}

TEST_F(SpoolTest, FinishedUploadCountsWithItsSizeOnly) {
  auto upload = begin();
  ASSERT_TRUE(files->reserve(*upload, 900));
  ASSERT_FALSE(upload->write("content"));
  ASSERT_FALSE(upload->commit(sidecar_of(1)));
  files->adopt(*upload);
  auto const id = upload->id();
  upload.reset();

  EXPECT_TRUE(has_room(993));
  EXPECT_FALSE(has_room(994));
  files->remove(id);
  EXPECT_TRUE(has_room(1000));
}

TEST_F(SpoolTest, FileThatWasTakenAwayGivesItsRoomFree) {
  auto const id = put(std::string(1000, 'x'));
  EXPECT_FALSE(has_room(1));

  fs::rename(folder / (id + ".upload"), root.path() / "taken");

  EXPECT_TRUE(has_room(1000));
  EXPECT_TRUE(names().empty()) << "the sidecar goes with it";
}

TEST_F(SpoolTest, RemovingTwiceDoesNothing) {
  auto const id = put("content");
  files->remove(id);
  files->remove(id);
  EXPECT_TRUE(names().empty());
  EXPECT_TRUE(has_room(1000));
  EXPECT_FALSE(has_room(1001));
}

TEST_F(SpoolTest, FinishedUploadSurvivesARestart) {
  auto const id = put("content");

  auto const left = open();

  ASSERT_EQ(left.size(), 1U);
  EXPECT_EQ(left[0].id, id);
  EXPECT_EQ(left[0].file_path, folder / (id + ".upload"));
  EXPECT_EQ(left[0].token, "token");
  EXPECT_EQ(left[0].owner, "owner");
  EXPECT_EQ(left[0].file_name, "../name.zip");
  EXPECT_EQ(left[0].bytes, 7U);
  EXPECT_EQ(left[0].expires_at, time_of_start + seconds(60));
  EXPECT_TRUE(has_room(993));
  EXPECT_FALSE(has_room(994));
}

TEST_F(SpoolTest, TimeThatEndedBeforeTheRestartIsOver) {
  put("content", wall_seconds - 1);
  EXPECT_EQ(open().at(0).expires_at, time_of_start);
}

TEST_F(SpoolTest, TimeOfAClockThatWasSetWrongIsBounded) {
  put("content", std::numeric_limits<std::int64_t>::max());
  EXPECT_EQ(open().at(0).expires_at, time_of_start + std::chrono::hours(24 * 366));
}

struct leftover {
  char const* situation;
  std::vector<char const*> kinds;
  char const* sidecar;
};

void PrintTo(leftover const& row, std::ostream* out) {
  *out << row.situation;
}

class SpoolLeftoverTest : public SpoolTest, public testing::WithParamInterface<leftover> {};

TEST_P(SpoolLeftoverTest, IsRemovedAtTheStart) {
  for (auto const* const kind : GetParam().kinds) {
    auto const* const content = std::string(kind) == ".json" ? GetParam().sidecar : "content";
    root.write("var/spool/0123456789abcdef0123456789abcdef" + std::string(kind), content);
  }

  EXPECT_TRUE(open().empty());

  EXPECT_TRUE(names().empty());
}

constexpr auto good_sidecar = R"({"token":"t","owner":"o","name":"n","expires_at":9999999999})";

INSTANTIATE_TEST_SUITE_P(
    Situations, SpoolLeftoverTest,
    testing::Values(leftover{"partial file", {".part"}, ""},
                    leftover{"partial file with its sidecar", {".part", ".json"}, good_sidecar},
                    leftover{"file without a sidecar", {".upload"}, ""},
                    leftover{"sidecar of a file taken away", {".json"}, good_sidecar},
                    leftover{"empty sidecar", {".upload", ".json"}, ""},
                    leftover{"half a sidecar", {".upload", ".json"}, R"({"token":"t")"}));

TEST_F(SpoolTest, UploadWhoseSidecarCannotBeReadIsLeftForTheNextStart) {
  auto const link = put("content");
  auto const sidecar = folder / (link + ".json");
  fs::rename(sidecar, root.path() / "aside");
  fs::create_symlink(sidecar, sidecar);
  auto const unreadable = put("content");
  fs::remove(folder / (unreadable + ".json"));
  fs::create_directory(folder / (unreadable + ".json"));

  EXPECT_TRUE(open().empty());

  EXPECT_EQ(content_of(folder / (link + ".upload")), "content");
  EXPECT_EQ(content_of(folder / (unreadable + ".upload")), "content");
  EXPECT_TRUE(log.holds(spdlog::level::err, link));
  EXPECT_TRUE(log.holds(spdlog::level::err, "Is a directory"));

  fs::rename(root.path() / "aside", sidecar);
  auto const left = open();
  ASSERT_EQ(left.size(), 1U);
  EXPECT_EQ(left[0].id, link);
}

TEST_F(SpoolTest, FilesOfOthersAreLeftAlone) {
  for (auto const* const name : {"notes.part", "0123.upload", "0123456789abcdef0123456789abcdeX.part",
                                 ".hidden", "0123456789abcdef0123456789abcdef.zip"}) {
    root.write(fs::path("var/spool") / name, "x");
  }

  EXPECT_TRUE(open().empty());

  EXPECT_EQ(names().size(), 5U);
}

TEST_F(SpoolTest, LinkUnderAFinalNameIsNotFollowed) {
  auto const target = root.write("secret", "secret");
  auto const id = put("content");
  fs::remove(folder / (id + ".upload"));
  fs::create_symlink(target, folder / (id + ".upload"));

  EXPECT_TRUE(open().empty());

  EXPECT_TRUE(names().empty());
  EXPECT_EQ(content_of(target), "secret");
}

TEST_F(SpoolTest, UploadIsThereUntilItsFileIsGone) {
  auto const id = put("content");
  auto const upload = open().at(0);
  EXPECT_TRUE(spool::is_there(upload));
  fs::remove(folder / (id + ".upload"));
  EXPECT_FALSE(spool::is_there(upload));
}

TEST_F(SpoolTest, FolderThatIsAFileIsNamedInTheLog) {
  spool wrong(root.write("file", ""), 1000);

  EXPECT_FALSE(wrong.open({time_of_start, wall}).has_value());

  EXPECT_TRUE(log.holds(spdlog::level::err, (root.path() / "file").string()));
}

TEST_F(SpoolTest, FolderThatVanishedMakesNoUpload) {
  fs::remove_all(folder);
  std::error_code error;

  EXPECT_EQ(files->begin(error), nullptr);

  EXPECT_EQ(error, std::errc::no_such_file_or_directory);
}

}  // namespace
}  // namespace tavi::site::uploads
