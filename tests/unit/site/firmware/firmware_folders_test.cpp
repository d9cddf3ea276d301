#include "firmware/firmware_folders.h"

#include <sys/stat.h>
#include <unistd.h>

#include <ostream>
#include <string>

#include <gtest/gtest.h>

#include "log_capture.h"
#include "temporary_folder.h"

namespace tavi::site::firmware {
namespace {

namespace fs = std::filesystem;
using std::string_literals::operator""s;
using paths = std::vector<fs::path>;

TEST(FirmwareFoldersText, IsAListOfAbsolutePaths) {
  EXPECT_EQ(parse_firmware_folders(""), paths());
  EXPECT_EQ(parse_firmware_folders("/var/store"), paths{"/var/store"});
  EXPECT_EQ(parse_firmware_folders("/a:/b c:/"), (paths{"/a", "/b c", "/"}));
  for (auto const* wrong : {"store", ":", "/a:", ":/a", "/a::/b", "/a:b", "~/store", " /a"}) {
    EXPECT_EQ(parse_firmware_folders(wrong), std::nullopt) << wrong;
  }
}

/// Two stores with a firmware each, and files beside them that may not be delivered.
class Deliverable : public testing::Test {
 protected:
  Deliverable() {
    folder.write("store/1_x7.bin", "one");
    folder.write("store/deeper/2_x7.bin", "two");
    folder.write("store-old/3_x7.bin", "three");
    folder.write("secret.bin", "no firmware");
    fs::create_directory(root / "empty");
  }

  std::optional<fs::path> find(std::string const& below) {
    return find_deliverable(folders, (root / below).string());
  }

  log_capture log;
  temporary_folder folder;
  fs::path root = fs::canonical(folder.path());
  paths folders{root / "store", root / "none", root / "empty"};
};

TEST_F(Deliverable, FileInAConfiguredFolderOrDeeperIsFound) {
  EXPECT_EQ(find("store/1_x7.bin"), root / "store/1_x7.bin");
  EXPECT_EQ(find("store/deeper/2_x7.bin"), root / "store/deeper/2_x7.bin");
  EXPECT_EQ(find("store/deeper/../1_x7.bin"), root / "store/1_x7.bin");
  EXPECT_EQ(find("store/./1_x7.bin"), root / "store/1_x7.bin");
  EXPECT_TRUE(log.lines().empty());
}

TEST_F(Deliverable, FolderMayBeWrittenWithASlashAtItsEnd) {
  folders = {(root / "store").string() + "/"};
  EXPECT_TRUE(find("store/1_x7.bin").has_value());
}

TEST_F(Deliverable, FolderMayBeASymbolicLink) {
  fs::create_directory_symlink("store", root / "link");
  folders = {root / "link"};
  EXPECT_EQ(find("link/1_x7.bin"), root / "store/1_x7.bin");
  EXPECT_EQ(find("store/1_x7.bin"), root / "store/1_x7.bin");
}

TEST_F(Deliverable, FolderThatIsMadeLaterCounts) {
  EXPECT_FALSE(find("none/4_x7.bin").has_value());
  folder.write("none/4_x7.bin", "four");
  EXPECT_TRUE(find("none/4_x7.bin").has_value());
}

TEST_F(Deliverable, NothingIsFoundWithoutFolders) {
  folders.clear();
  EXPECT_FALSE(find("store/1_x7.bin").has_value());
  EXPECT_TRUE(log.holds(spdlog::level::warn, "1_x7.bin is not delivered: it lies in none of the configured"));
}

struct refused_path {
  char const* situation;
  std::string path;  ///< below the test's folder
  char const* reason;
};

void PrintTo(refused_path const& row, std::ostream* out) {
  *out << row.situation;
}

class RefusedDeliverable : public Deliverable, public testing::WithParamInterface<refused_path> {};

TEST_P(RefusedDeliverable, IsToldWithItsReason) {
  fs::create_symlink("../secret.bin", root / "store/link.bin");
  fs::create_directory_symlink("..", root / "store/up");
  fs::create_symlink("loop.bin", root / "store/loop.bin");
  ASSERT_EQ(::mkfifo((root / "store/pipe.bin").c_str(), 0600), 0);

  EXPECT_EQ(find(GetParam().path), std::nullopt);

  ASSERT_EQ(log.lines().size(), 1U);
  EXPECT_TRUE(log.holds(spdlog::level::warn, "[firmware_server] "));
  EXPECT_TRUE(log.holds(spdlog::level::warn, GetParam().reason)) << log.lines()[0].text;
}

constexpr auto elsewhere = "it lies in none of the configured folders";
constexpr auto missing = "No such file";

INSTANTIATE_TEST_SUITE_P(
    Situations, RefusedDeliverable,
    testing::Values(refused_path{"missing", "store/none.bin", missing},
                    refused_path{"beside the folders", "secret.bin", elsewhere},
                    refused_path{"in a folder whose name begins alike", "store-old/3_x7.bin", elsewhere},
                    refused_path{"out of the folder by its path", "store/../secret.bin", elsewhere},
                    refused_path{"out of the folder by a link", "store/link.bin", elsewhere},
                    refused_path{"out of the folder by a linked folder", "store/up/secret.bin", elsewhere},
                    refused_path{"link to itself", "store/loop.bin", "symbolic links"},
                    refused_path{"folder itself", "store", missing},
                    refused_path{"folder inside", "store/deeper", missing},
                    refused_path{"pipe", "store/pipe.bin", missing},
                    refused_path{"file with a slash behind it", "store/1_x7.bin/", "Not a directory"},
                    refused_path{"zero byte", "store/1_x7.bin\0.txt"s, "an absolute path is expected"}));

TEST_F(Deliverable, RelativeAndEmptyPathsAreRefused) {
  for (auto const* path : {"", "1_x7.bin", "./store/1_x7.bin", "file:///store/1_x7.bin"}) {
    EXPECT_EQ(find_deliverable(folders, path), std::nullopt) << path;
  }
  EXPECT_TRUE(log.holds(spdlog::level::warn, "an absolute path is expected"));
}

TEST_F(Deliverable, PathCannotBreakTheLog) {
  EXPECT_EQ(find_deliverable(folders, "/a\n[error] fake"), std::nullopt);
  EXPECT_TRUE(log.holds(spdlog::level::warn, "/a\\x0a[error] fake is not delivered"));
}

TEST_F(Deliverable, FileThatMayNotBeReadIsRefused) {
  if (::geteuid() == 0) {
    GTEST_SKIP() << "root may read everything";
  }
  fs::permissions(root / "store/1_x7.bin", fs::perms::none);
  EXPECT_EQ(find("store/1_x7.bin"), std::nullopt);
  EXPECT_TRUE(log.holds(spdlog::level::warn, "Permission denied"));
}

}  // namespace
}  // namespace tavi::site::firmware
