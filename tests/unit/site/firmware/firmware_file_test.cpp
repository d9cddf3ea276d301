#include "firmware/firmware_file.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <fstream>
#include <string>

#include <gtest/gtest.h>

#include "temporary_folder.h"

namespace tavi::site::firmware {
namespace {

namespace fs = std::filesystem;

/// Files in a folder whose path holds no symbolic link.
class FirmwareFileTest : public testing::Test {
 protected:
  std::unique_ptr<firmware_file> open(fs::path const& name) {
    error.clear();
    return firmware_file::open(root / name, error);
  }

  /// The tag that a file has now; empty when it cannot be opened.
  std::string tag_of(fs::path const& name) {
    auto const file = open(name);
    return file ? file->state().tag : std::string();
  }

  /// Writes a file until its tag differs: the file system's clock may stand still for a moment.
  void change(fs::path const& name, std::string const& content) {
    auto const before = tag_of(name);
    for (int attempt = 0; attempt < 1'000'000 && tag_of(name) == before; ++attempt) {
      std::ofstream(root / name, std::ios::binary) << content;
    }
  }

  temporary_folder folder;
  fs::path root = fs::canonical(folder.path());
  std::error_code error;
};

TEST_F(FirmwareFileTest, TellsItsSizeAndGivesItsBytes) {
  folder.write("a.bin", "0123456789");
  auto const file = open("a.bin");
  ASSERT_TRUE(file);
  EXPECT_EQ(file->state().size, 10U);
  std::array<char, 4> buffer{};
  EXPECT_FALSE(file->read(3, buffer));
  EXPECT_EQ(std::string(buffer.data(), buffer.size()), "3456");
  EXPECT_FALSE(file->read(6, buffer));
  EXPECT_EQ(std::string(buffer.data(), buffer.size()), "6789");
}

TEST_F(FirmwareFileTest, TagStandsInQuotesAndStaysTheSame) {
  folder.write("a.bin", "0123456789");
  auto const tag = tag_of("a.bin");
  EXPECT_EQ(tag.front(), '"');
  EXPECT_EQ(tag.back(), '"');
  EXPECT_EQ(tag.find_first_not_of("0123456789abcdef-", 1), tag.size() - 1);
  EXPECT_EQ(tag_of("a.bin"), tag);
}

TEST_F(FirmwareFileTest, TagOfAnotherFileUnderTheSameNameIsAnother) {
  folder.write("a.bin", "0123456789");
  auto const tag = tag_of("a.bin");
  folder.write("b.bin", "9876543210");
  fs::last_write_time(root / "b.bin", fs::last_write_time(root / "a.bin"));
  fs::rename(root / "b.bin", root / "a.bin");
  EXPECT_NE(tag_of("a.bin"), tag);
}

TEST_F(FirmwareFileTest, TagChangesThoughTheTimeOfTheContentWasSetBack) {
  folder.write("a.bin", "0123456789");
  auto const time = fs::last_write_time(root / "a.bin");
  auto const tag = tag_of("a.bin");
  change("a.bin", "9876543210");
  fs::last_write_time(root / "a.bin", time);
  EXPECT_NE(tag_of("a.bin"), tag);
}

TEST_F(FirmwareFileTest, ReadFailsOnceTheFileHasChanged) {
  folder.write("a.bin", "0123456789");
  auto const file = open("a.bin");
  ASSERT_TRUE(file);
  change("a.bin", "9876543210");
  std::array<char, 4> buffer{};
  EXPECT_EQ(file->read(0, buffer), std::errc::text_file_busy);
}

TEST_F(FirmwareFileTest, ReadFailsOnceTheFileHasBecomeShorter) {
  folder.write("a.bin", "0123456789");
  auto const file = open("a.bin");
  ASSERT_TRUE(file);
  fs::resize_file(root / "a.bin", 5);
  std::array<char, 4> buffer{};
  EXPECT_EQ(file->read(4, buffer), std::errc::text_file_busy);
}

TEST_F(FirmwareFileTest, ReadOfNothingBehindTheEndSucceedsAndOfAnythingFails) {
  folder.write("empty.bin", "");
  auto const file = open("empty.bin");
  ASSERT_TRUE(file);
  EXPECT_EQ(file->state().size, 0U);
  std::array<char, 1> buffer{};
  EXPECT_FALSE(file->read(0, {}));
  EXPECT_EQ(file->read(0, buffer), std::errc::text_file_busy);
}

TEST_F(FirmwareFileTest, MissingFileIsTold) {
  EXPECT_FALSE(open("none.bin"));
  EXPECT_EQ(error, std::errc::no_such_file_or_directory);
}

TEST_F(FirmwareFileTest, FolderAndPipeAreNoFiles) {
  fs::create_directory(root / "folder");
  ASSERT_EQ(::mkfifo((root / "pipe").c_str(), 0600), 0);
  for (auto const* name : {"folder", "pipe"}) {
    EXPECT_FALSE(open(name)) << name;
    EXPECT_EQ(error, std::errc::no_such_file_or_directory) << name;
  }
}

TEST_F(FirmwareFileTest, SymbolicLinkIsNotFollowed) {
  folder.write("a.bin", "x");
  fs::create_symlink("a.bin", root / "link.bin");
  EXPECT_FALSE(open("link.bin"));
  EXPECT_EQ(error, std::errc::too_many_symbolic_link_levels);
}

TEST_F(FirmwareFileTest, FolderThatBecameASymbolicLinkIsNotFollowed) {
  folder.write("secret/a.bin", "x");
  fs::create_symlink("secret", root / "store");
  EXPECT_FALSE(open("store/a.bin"));
  EXPECT_EQ(error, std::errc::no_such_file_or_directory);
}

TEST_F(FirmwareFileTest, FileThatMayNotBeReadIsTold) {
  if (::geteuid() == 0) {
    GTEST_SKIP() << "root may read everything";
  }
  fs::permissions(folder.write("a.bin", "x"), fs::perms::none);
  EXPECT_FALSE(open("a.bin"));
  EXPECT_EQ(error, std::errc::permission_denied);
}

}  // namespace
}  // namespace tavi::site::firmware
