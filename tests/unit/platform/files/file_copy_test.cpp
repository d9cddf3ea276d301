#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <set>
#include <string>
#include <system_error>
#include <vector>

#include <gtest/gtest.h>

#include "child_process.h"
#include "mura_common/file.h"
#include "temporary_folder.h"

namespace mura_common {
namespace {

namespace fs = std::filesystem;

constexpr std::size_t mebibyte = std::size_t{1} << 20U;

/// Text whose every piece differs from its neighbours, so that a lost or doubled piece shows.
std::string patterned(std::size_t size) {
  std::string text(size, '\0');
  std::uint32_t value = 1;
  for (auto& letter : text) {
    value = value * 1664525U + 1013904223U;
    letter = static_cast<char>(value >> 24U);
  }
  return text;
}

class FileCopy : public testing::Test {
 protected:
  FileCopy() { fs::create_directory(store); }

  /// Copies in a child process after a preparation there. @return 0, `not_prepared`, or the error
  int copy_in_child(std::vector<failing_call> const& failures, rlim_t size_limit = RLIM_INFINITY) const {
    child_process child([&] {
      bool prepared = size_limit == RLIM_INFINITY || limit_file_size(size_limit);
      for (auto const& failure : failures) {
        prepared = prepared && failure.install();
      }
      if (!prepared) {
        return not_prepared;
      }
      std::error_code child_error;
      bool const copied = copy_file_durably(source, target, child_error);
      return copied ? 0 : child_error.value();
    });
    return child.wait();
  }

  static constexpr int not_prepared = 200;

  temporary_folder folder;
  fs::path const source = folder.path() / "source";
  fs::path const store = folder.path() / "store";
  fs::path const target = store / "copy";
  std::error_code error = std::make_error_code(std::errc::io_error);
};

failing_call without_nameless_files(int code) {
  auto const flag = static_cast<std::uint32_t>(O_TMPFILE & ~O_DIRECTORY);
  return {SYS_openat, code, failing_call::condition{2, flag, flag}};
}

TEST_F(FileCopy, CopiesTheContentAndClearsTheError) {
  folder.write("source", "report");
  EXPECT_TRUE(copy_file_durably(source, target, error));
  EXPECT_FALSE(error);
  EXPECT_EQ(content_of(target), "report");
  EXPECT_EQ(content_of(source), "report");
  EXPECT_EQ(names_in(store), std::set<std::string>{"copy"});
}

TEST_F(FileCopy, CopiesAnEmptyFile) {
  folder.write("source", "");
  EXPECT_TRUE(copy_file_durably(source, target, error));
  EXPECT_EQ(fs::file_size(target), 0U);
}

TEST_F(FileCopy, CopiesManyMegabytes) {
  auto const content = patterned(9 * mebibyte + 7);
  folder.write("source", content);
  EXPECT_TRUE(copy_file_durably(source, target, error));
  EXPECT_TRUE(content_of(target) == content);
}

TEST_F(FileCopy, TakesOverThePermissionsWhateverTheMaskSays) {
  auto const mask = umask(0077);
  for (mode_t const mode : {0600U, 0644U, 0755U, 0440U, 0666U}) {
    folder.write("source", "report");
    ASSERT_EQ(chmod(source.c_str(), mode), 0);
    EXPECT_TRUE(copy_file_durably(source, target, error)) << error.message();
    struct stat status = {};
    ASSERT_EQ(stat(target.c_str(), &status), 0);
    EXPECT_EQ(status.st_mode & 07777U, mode);
    fs::remove(target);
    fs::remove(source);
  }
  umask(mask);
}

TEST_F(FileCopy, CopiesTheFileBehindALink) {
  folder.write("real", "report");
  fs::create_symlink("real", source);
  EXPECT_TRUE(copy_file_durably(source, target, error));
  EXPECT_TRUE(fs::is_regular_file(fs::symlink_status(target)));
  EXPECT_EQ(content_of(target), "report");
}

TEST_F(FileCopy, WorksOnBareNamesInTheCurrentFolder) {
  folder.write("source", "report");
  child_process child([&] {
    std::error_code child_error;
    return chdir(folder.path().c_str()) == 0 && copy_file_durably("source", "copy", child_error) ? 0 : 1;
  });
  EXPECT_EQ(child.wait(), 0);
  EXPECT_EQ(content_of(folder.path() / "copy"), "report");
}

struct refused_copy {
  char const* name;
  void (*prepare)(fs::path const& folder);
  char const* from;
  char const* to;
  std::errc expected;
};

class RefusedFileCopy : public testing::TestWithParam<refused_copy> {};

TEST_P(RefusedFileCopy, SaysWhyAndLeavesNothing) {
  temporary_folder const folder;
  folder.write("source", "report");
  folder.write("store/taken", "older");
  GetParam().prepare(folder.path());
  auto const before = names_in(folder.path() / "store");
  std::error_code error;
  EXPECT_FALSE(copy_file_durably(folder.path() / GetParam().from, folder.path() / GetParam().to, error));
  EXPECT_EQ(error, GetParam().expected) << error.message();
  EXPECT_EQ(names_in(folder.path() / "store"), before);
  EXPECT_EQ(content_of(folder.path() / "store/taken"), "older");
}

void prepare_nothing(fs::path const& /*folder*/) {
}

INSTANTIATE_TEST_SUITE_P(
    All, RefusedFileCopy,
    testing::Values(
        refused_copy{"MissingSource", prepare_nothing, "missing", "store/copy",
                     std::errc::no_such_file_or_directory},
        refused_copy{"SourceIsAFolder", [](fs::path const& folder) { fs::create_directory(folder / "sub"); },
                     "sub", "store/copy", std::errc::is_a_directory},
        refused_copy{"SourceIsAPipe",
                     [](fs::path const& folder) { ASSERT_EQ(mkfifo((folder / "pipe").c_str(), 0600), 0); },
                     "pipe", "store/copy", std::errc::invalid_argument},
        refused_copy{"MissingFolder", prepare_nothing, "source", "missing/copy",
                     std::errc::no_such_file_or_directory},
        refused_copy{"FolderIsAFile", prepare_nothing, "source", "store/taken/copy",
                     std::errc::not_a_directory},
        refused_copy{"TargetExists", prepare_nothing, "source", "store/taken", std::errc::file_exists},
        refused_copy{"TargetIsItself", prepare_nothing, "source", "source", std::errc::file_exists},
        refused_copy{"TargetIsAFolder",
                     [](fs::path const& folder) { fs::create_directory(folder / "store/sub"); }, "source",
                     "store/sub", std::errc::file_exists},
        refused_copy{"TargetIsALinkToNothing",
                     [](fs::path const& folder) { fs::create_symlink("nowhere", folder / "store/link"); },
                     "source", "store/link", std::errc::file_exists},
        refused_copy{"TargetHasNoName", prepare_nothing, "source", "store/", std::errc::is_a_directory}),
    [](auto const& row) { return std::string(row.param.name); });

TEST_F(FileCopy, LeavesNothingWhenThereIsNoRoomForAllOfIt) {
  folder.write("source", patterned(3 * mebibyte));
  EXPECT_EQ(copy_in_child({}, mebibyte), EFBIG);
  EXPECT_EQ(names_in(store), std::set<std::string>{});
}

TEST_F(FileCopy, ManagesWithoutNamelessFiles) {
  auto const content = patterned(mebibyte);
  folder.write("source", content);
  ASSERT_EQ(chmod(source.c_str(), 0644), 0);
  for (int const code : {EOPNOTSUPP, EISDIR, ENOENT, EINVAL}) {
    ASSERT_EQ(copy_in_child({without_nameless_files(code)}), 0) << code;
    EXPECT_TRUE(content_of(target) == content);
    EXPECT_EQ(names_in(store), std::set<std::string>{"copy"});
    EXPECT_EQ(fs::status(target).permissions(), fs::perms{0644});
    fs::remove(target);
  }
}

TEST_F(FileCopy, ReportsWhyNoFileCanBeMade) {
  folder.write("source", "report");
  EXPECT_EQ(copy_in_child({without_nameless_files(EDQUOT)}), EDQUOT);
  EXPECT_EQ(names_in(store), std::set<std::string>{});
}

TEST_F(FileCopy, RemovesItsTemporaryFileWhenThereIsNoRoom) {
  folder.write("source", patterned(3 * mebibyte));
  EXPECT_EQ(copy_in_child({without_nameless_files(EOPNOTSUPP)}, mebibyte), EFBIG);
  EXPECT_EQ(names_in(store), std::set<std::string>{});
}

TEST_F(FileCopy, GivesTheNameByALinkWhereRenamingWouldReplace) {
  folder.write("source", "report");
  ASSERT_EQ(copy_in_child({without_nameless_files(EOPNOTSUPP), {SYS_renameat2, EINVAL}}), 0);
  EXPECT_EQ(content_of(target), "report");
  EXPECT_EQ(names_in(store), std::set<std::string>{"copy"});
}

TEST_F(FileCopy, ManagesWithoutCopiesByTheKernel) {
  auto const content = patterned(mebibyte + 5);
  folder.write("source", content);
  for (int const code : {EXDEV, EINVAL, ENOSYS, EOPNOTSUPP}) {
    ASSERT_EQ(copy_in_child({{SYS_copy_file_range, code}}), 0) << code;
    EXPECT_TRUE(content_of(target) == content);
    fs::remove(target);
  }
}

TEST_F(FileCopy, LeavesNothingWhenAStepFails) {
  folder.write("source", "report");
  std::vector<failing_call> const plain_read{{SYS_copy_file_range, EIO}, {SYS_read, EIO}};
  EXPECT_EQ(copy_in_child(plain_read), EIO);
  EXPECT_EQ(names_in(store), std::set<std::string>{});
  for (long const call : {SYS_fchmod, SYS_fsync, SYS_linkat}) {
    EXPECT_EQ(copy_in_child({{call, EIO}}), EIO) << "system call " << call;
    EXPECT_EQ(names_in(store), std::set<std::string>{}) << "system call " << call;
    EXPECT_EQ(copy_in_child({without_nameless_files(EISDIR), {call, EIO}}), call == SYS_linkat ? 0 : EIO);
    fs::remove(target);
    EXPECT_EQ(names_in(store), std::set<std::string>{}) << "system call " << call;
  }
}

TEST_F(FileCopy, LeavesNothingWhenThereIsNoSpaceLeft) {
  folder.write("source", "report");
  std::vector<std::vector<failing_call>> const moments{{{SYS_copy_file_range, ENOSPC}, {SYS_write, ENOSPC}},
                                                       {{SYS_fsync, ENOSPC}},
                                                       {without_nameless_files(ENOSPC)}};
  for (auto const& moment : moments) {
    EXPECT_EQ(copy_in_child(moment), ENOSPC);
    EXPECT_EQ(names_in(store), std::set<std::string>{});
  }
}

TEST_F(FileCopy, LeavesNothingWhenTheFolderCannotBeFlushed) {
  folder.write("source", "report");
  // The copy opens the source, the folder and the new file: each flush fails in one of the rounds.
  int const first = dup(0);
  close(first);
  int failures = 0;
  for (auto number = static_cast<std::uint32_t>(first); number < static_cast<std::uint32_t>(first) + 3;
       ++number) {
    auto const result = copy_in_child({{SYS_fsync, EIO, failing_call::condition{0, 0xffffffffU, number}}});
    EXPECT_TRUE(result == 0 || result == EIO) << result;
    EXPECT_EQ(fs::exists(target), result == 0);
    failures += result == EIO ? 1 : 0;
    fs::remove(target);
    EXPECT_EQ(names_in(store), std::set<std::string>{});
  }
  EXPECT_EQ(failures, 2);
}

TEST_F(FileCopy, TakesABeginningOfAFileThatGrows) {
  auto const content = patterned(16 * mebibyte);
  folder.write("source", content.substr(0, mebibyte));
  child_process writer([&] {
    std::ofstream out(source, std::ios::binary | std::ios::app);
    out << content.substr(mebibyte);
    return out.good() ? 0 : 1;
  });
  EXPECT_TRUE(copy_file_durably(source, target, error));
  EXPECT_EQ(writer.wait(), 0);
  auto const copied = content_of(target);
  EXPECT_GE(copied.size(), mebibyte);
  EXPECT_TRUE(content.compare(0, copied.size(), copied) == 0);
}

TEST_F(FileCopy, LeavesWholeCopiesOnlyWhereverItIsKilled) {
  auto const content = patterned(2 * mebibyte);
  folder.write("source", content);
  for (int round = 1; round <= 12; ++round) {
    int ends[2] = {};
    ASSERT_EQ(pipe2(ends, O_CLOEXEC), 0);
    child_process child([&] {
      std::error_code child_error;
      for (int number = 0; number < 1000; ++number) {
        auto const name = store / std::to_string(number);
        if (!copy_file_durably(source, name, child_error) || write(ends[1], "x", 1) != 1) {
          return 1;
        }
      }
      return 0;
    });
    close(ends[1]);
    // The kill falls into the copy after this many; which step it hits differs from round to round.
    char letter = 0;
    for (int copies = 0; copies < round % 4; ++copies) {
      EXPECT_EQ(read(ends[0], &letter, 1), 1);
    }
    EXPECT_TRUE(child.kill_now());
    close(ends[0]);
    for (auto const& name : names_in(store)) {
      EXPECT_TRUE(content_of(store / name) == content) << name;
      fs::remove(store / name);
    }
  }
}

}  // namespace
}  // namespace mura_common
