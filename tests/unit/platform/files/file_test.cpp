#include "mura_common/file.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <set>
#include <string>
#include <system_error>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

#include "child_process.h"
#include "temporary_folder.h"

namespace mura_common {
namespace {

namespace fs = std::filesystem;

mode_t mode_of(fs::path const& file) {
  struct stat status = {};
  EXPECT_EQ(stat(file.c_str(), &status), 0);
  return status.st_mode & 07777U;
}

class FileReplacement : public testing::Test {
 protected:
  /// Replaces in a child process where some system call fails. @return 0, or the error
  int replace_in_child(std::string const& content, std::vector<failing_call> const& failures,
                       rlim_t size_limit = RLIM_INFINITY) const {
    child_process child([&] {
      bool prepared = size_limit == RLIM_INFINITY || limit_file_size(size_limit);
      for (auto const& failure : failures) {
        prepared = prepared && failure.install();
      }
      std::error_code child_error;
      bool const replaced = prepared && replace_file_durably(file, content, child_error);
      return replaced ? 0 : prepared ? child_error.value() : 200;
    });
    return child.wait();
  }

  temporary_folder folder;
  fs::path const file = folder.path() / "settings.toml";
  std::error_code error = std::make_error_code(std::errc::io_error);
};

TEST_F(FileReplacement, MakesAMissingFileForItsOwnerAndGroup) {
  auto const mask = umask(0077);
  EXPECT_TRUE(replace_file_durably(file, "new", error));
  umask(mask);
  EXPECT_FALSE(error);
  EXPECT_EQ(content_of(file), "new");
  EXPECT_EQ(mode_of(file), 0640U);
  EXPECT_EQ(names_in(folder.path()), std::set<std::string>{"settings.toml"});
}

TEST_F(FileReplacement, KeepsThePermissions) {
  for (mode_t const mode : {0600U, 0644U, 0664U, 0400U}) {
    folder.write("settings.toml", "something longer than the new content");
    ASSERT_EQ(chmod(file.c_str(), mode), 0);
    EXPECT_TRUE(replace_file_durably(file, "new", error)) << error.message();
    EXPECT_EQ(content_of(file), "new");
    EXPECT_EQ(mode_of(file), mode);
    fs::remove(file);
  }
}

TEST_F(FileReplacement, TakesEmptyAndLargeAndBinaryContent) {
  for (auto const& content : {std::string(), std::string(3U << 20U, 'x'), std::string("a\0b\xff", 4)}) {
    EXPECT_TRUE(replace_file_durably(file, content, error));
    EXPECT_TRUE(content_of(file) == content);
  }
}

TEST_F(FileReplacement, KeepsALinkAndReplacesTheFileBehindIt) {
  folder.write("real/settings.toml", "old");
  fs::create_symlink("real/settings.toml", file);
  EXPECT_TRUE(replace_file_durably(file, "new", error));
  EXPECT_TRUE(fs::is_symlink(file));
  EXPECT_EQ(content_of(folder.path() / "real/settings.toml"), "new");
  EXPECT_EQ(names_in(folder.path() / "real"), std::set<std::string>{"settings.toml"});
}

TEST_F(FileReplacement, OverwritesWhatACrashLeftBehind) {
  folder.write("settings.toml", "old");
  folder.write(".settings.toml.new", "half of something that is longer than the new content");
  EXPECT_TRUE(replace_file_durably(file, "new", error));
  EXPECT_EQ(content_of(file), "new");
  EXPECT_EQ(names_in(folder.path()), std::set<std::string>{"settings.toml"});
}

TEST_F(FileReplacement, DoesNotFollowALinkInPlaceOfItsTemporaryFile) {
  folder.write("settings.toml", "old");
  folder.write("victim", "untouched");
  fs::create_symlink("victim", folder.path() / ".settings.toml.new");
  EXPECT_FALSE(replace_file_durably(file, "new", error));
  EXPECT_EQ(error, std::errc::too_many_symbolic_link_levels);
  EXPECT_EQ(content_of(folder.path() / "victim"), "untouched");
  EXPECT_EQ(content_of(file), "old");
}

TEST_F(FileReplacement, WorksOnABareNameInTheCurrentFolder) {
  child_process child([&] {
    std::error_code child_error;
    return chdir(folder.path().c_str()) == 0 && replace_file_durably("bare", "new", child_error) &&
                   flush_folder("", child_error)
               ? 0
               : 1;
  });
  EXPECT_EQ(child.wait(), 0);
  EXPECT_EQ(content_of(folder.path() / "bare"), "new");
}

struct refused_replacement {
  char const* name;
  char const* path;
  std::errc expected;
};

class RefusedReplacement : public testing::TestWithParam<refused_replacement> {};

TEST_P(RefusedReplacement, SaysWhyAndLeavesNothing) {
  temporary_folder const folder;
  folder.write("file", "old");
  fs::create_directory(folder.path() / "sub");
  fs::create_symlink("nowhere", folder.path() / "link");
  ASSERT_EQ(mkfifo((folder.path() / "pipe").c_str(), 0600), 0);
  auto const before = names_in(folder.path());
  std::error_code error;
  EXPECT_FALSE(replace_file_durably(folder.path() / GetParam().path, "new", error));
  EXPECT_EQ(error, GetParam().expected) << error.message();
  EXPECT_EQ(names_in(folder.path()), before);
  EXPECT_EQ(content_of(folder.path() / "file"), "old");
}

INSTANTIATE_TEST_SUITE_P(
    All, RefusedReplacement,
    testing::Values(refused_replacement{"MissingFolder", "missing/file",
                                        std::errc::no_such_file_or_directory},
                    refused_replacement{"FolderIsAFile", "file/below", std::errc::not_a_directory},
                    refused_replacement{"TargetIsAFolder", "sub", std::errc::is_a_directory},
                    refused_replacement{"TargetHasNoName", "sub/", std::errc::is_a_directory},
                    refused_replacement{"TargetIsAPipe", "pipe", std::errc::invalid_argument},
                    refused_replacement{"LinkToNothing", "link", std::errc::no_such_file_or_directory}),
    [](auto const& row) { return std::string(row.param.name); });

TEST_F(FileReplacement, LeavesTheOldFileWhenThereIsNoRoom) {
  folder.write("settings.toml", "old");
  EXPECT_EQ(replace_in_child(std::string(100000, 'x'), {}, 4096), EFBIG);
  EXPECT_EQ(content_of(file), "old");
  EXPECT_EQ(names_in(folder.path()), std::set<std::string>{"settings.toml"});
}

TEST_F(FileReplacement, LeavesTheOldFileWhenAStepFails) {
  folder.write("settings.toml", "old");
  std::vector<std::vector<failing_call>> const rounds{
      {{SYS_write, EIO}},
      {{SYS_fchmod, EIO}},
      {{SYS_fchown, EIO}},
      {{SYS_fsync, EIO}},
      {{SYS_flock, EIO}},
#ifdef SYS_renameat
      {{SYS_renameat, EIO}, {SYS_renameat2, EIO}},
#else
      {{SYS_renameat2, EIO}},
#endif
  };
  for (auto const& failures : rounds) {
    EXPECT_EQ(replace_in_child("new", failures), EIO) << "system call " << failures.front().number;
    EXPECT_EQ(content_of(file), "old");
    EXPECT_EQ(names_in(folder.path()), std::set<std::string>{"settings.toml"});
  }
}

TEST_F(FileReplacement, ManagesWithoutTheRightToGiveFilesAway) {
  folder.write("settings.toml", "old");
  EXPECT_EQ(replace_in_child("new", {{SYS_fchown, EPERM}}), 0);
  EXPECT_EQ(content_of(file), "new");
}

TEST_F(FileReplacement, LetsConcurrentWritersTakeTurns) {
  constexpr int writers = 4;
  constexpr int rounds = 25;
  {
    std::vector<std::jthread> threads;
    for (int writer = 0; writer < writers; ++writer) {
      threads.emplace_back([this, writer] {
        std::string const content(20000, static_cast<char>('a' + writer));
        for (int round = 0; round < rounds; ++round) {
          std::error_code own_error;
          EXPECT_TRUE(replace_file_durably(file, content, own_error)) << own_error.message();
          auto const seen = content_of(file);
          EXPECT_TRUE(seen == std::string(20000, seen.empty() ? '-' : seen.front()));
        }
      });
    }
  }
  EXPECT_EQ(names_in(folder.path()), std::set<std::string>{"settings.toml"});
}

TEST_F(FileReplacement, LeavesTheOldOrTheNewContentWhereverItIsKilled) {
  std::string const contents[] = {std::string(300000, 'a'), std::string(200000, 'b')};
  ASSERT_TRUE(replace_file_durably(file, contents[1], error));
  for (int round = 1; round <= 12; ++round) {
    int ends[2] = {};
    ASSERT_EQ(pipe2(ends, O_CLOEXEC), 0);
    child_process child([&] {
      std::error_code child_error;
      for (std::size_t number = 0; number < 2000; ++number) {
        if (!replace_file_durably(file, contents[number % 2], child_error) || write(ends[1], "x", 1) != 1) {
          return 1;
        }
      }
      return 0;
    });
    close(ends[1]);
    char letter = 0;
    for (int replacements = 0; replacements < round % 5; ++replacements) {
      EXPECT_EQ(read(ends[0], &letter, 1), 1);
    }
    EXPECT_TRUE(child.kill_now());
    close(ends[0]);
    auto const content = content_of(file);
    EXPECT_TRUE(content == contents[0] || content == contents[1]) << content.size();
  }
  EXPECT_TRUE(replace_file_durably(file, "new", error));
  EXPECT_EQ(names_in(folder.path()), std::set<std::string>{"settings.toml"});
}

TEST(FlushFolder, FlushesAFolder) {
  temporary_folder const folder;
  auto error = std::make_error_code(std::errc::io_error);
  EXPECT_TRUE(flush_folder(folder.path(), error));
  EXPECT_FALSE(error);
}

TEST(FlushFolder, SaysWhyItCannot) {
  temporary_folder const folder;
  std::error_code error;
  EXPECT_FALSE(flush_folder(folder.path() / "missing", error));
  EXPECT_EQ(error, std::errc::no_such_file_or_directory);
  EXPECT_FALSE(flush_folder(folder.write("file", "x"), error));
  EXPECT_EQ(error, std::errc::not_a_directory);
}

TEST(WriteAll, GoesOnWhereAPipeTookAPart) {
  std::array<int, 2> ends{};
  ASSERT_EQ(::pipe(ends.data()), 0);
  std::string const content(1U << 20U, 'x');
  std::string received;
  std::thread reader([&] {
    std::array<char, 4096> piece{};
    for (ssize_t length = 1; length > 0;) {
      length = ::read(ends[0], piece.data(), piece.size());
      received.append(piece.data(), static_cast<std::size_t>(std::max<ssize_t>(length, 0)));
    }
  });
  std::error_code error;
  EXPECT_TRUE(write_all(ends[1], content, error));
  ::close(ends[1]);
  reader.join();
  ::close(ends[0]);
  EXPECT_FALSE(error);
  EXPECT_EQ(received, content);
}

TEST(WriteAll, SaysWhyItFailed) {
  std::error_code error;
  EXPECT_FALSE(write_all(-1, "x", error));
  EXPECT_EQ(error, std::errc::bad_file_descriptor);
}

}  // namespace
}  // namespace mura_common
