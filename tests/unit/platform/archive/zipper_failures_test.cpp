#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

#include <chrono>
#include <cstdint>
#include <filesystem>
#include <fstream>
#include <set>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "child_process.h"
#include "zipper_fixture.h"

namespace mura_common {
namespace {

namespace fs = std::filesystem;
using spdlog::level::err;
using spdlog::level::warn;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::SizeIs;

class ZipperFailures : public ZipperTest {};

struct failed_packing {
  char const* name;
  char const* zip_command;
  char const* shell;
  char const* reason;
};

class FailedPacking : public ZipperTest, public testing::WithParamInterface<failed_packing> {};

TEST_P(FailedPacking, SaysWhyAndLeavesTheDestinationAsItWas) {
  auto const& one = GetParam();
  in_workdir("a", "content");
  in_workdir("b", "content");
  auto const fresh = (exports / "fresh.zip").string();
  EXPECT_FALSE(pack({"a", "b"}, fresh, one.zip_command, one.shell));
  EXPECT_THAT(names_in_exports(), IsEmpty());
  ASSERT_THAT(log.lines(), SizeIs(1));
  EXPECT_EQ(log.lines()[0].level, err);
  EXPECT_THAT(log.lines()[0].text, testing::StartsWith("[zipper] cannot pack 2 files into " + fresh + ": "));
  EXPECT_THAT(log.lines()[0].text, HasSubstr(one.reason));

  ASSERT_TRUE(pack({"a"}, archive));
  auto const before = content_of(archive);
  EXPECT_FALSE(pack({"b"}, archive, one.zip_command, one.shell));
  EXPECT_TRUE(content_of(archive) == before);
  EXPECT_EQ(names_in_exports(), std::set<std::string>{"reports.zip"});
}

INSTANTIATE_TEST_SUITE_P(
    Each, FailedPacking,
    testing::Values(
        failed_packing{"NoSuchShell", "zip", "no_such_shell", "cannot start no_such_shell in "},
        failed_packing{"NoShell", "zip", "", "No such file or directory"},
        failed_packing{"NoSuchArchiver", "no_such_archiver", "sh", "sh ended with 127: "},
        failed_packing{"ArchiverNotNamed", " ", "sh", "no archiver is named"},
        failed_packing{"ErrorText", "sh -c 'echo It is full >&2; exit 3' -", "sh",
                       "sh ended with 3: It is full"},
        failed_packing{"HalfAnArchive", "sh -c 'echo half >\"$3\"; exit 15'  -", "sh", "ended with 15"},
        failed_packing{"Killed", "kill -KILL $$; true", "sh", "sh was killed by signal 9"},
        failed_packing{"ManyLines", "sh -c 'echo first; echo last; exit 1' -", "sh", "first last"},
        failed_packing{"EndOfALongText", "sh -c 'yes word | head -c 100000; echo last; exit 1' -", "sh",
                       "word word last"}),
    [](auto const& row) { return std::string(row.param.name); });

TEST_F(ZipperFailures, TellsTheLastWordsOnlyOfALongText) {
  in_workdir("a", "content");
  EXPECT_FALSE(pack({"a"}, archive, "sh -c 'yes word | head -c 100000; exit 1' -"));
  EXPECT_LT(log.lines().at(0).text.size(), 1300U);
}

TEST_F(ZipperFailures, DoesNotTakeAnArchiverAtItsWordThatMadeNothing) {
  in_workdir("a", "content");
  EXPECT_FALSE(pack({"a"}, archive, "true"));
  EXPECT_THAT(log.lines(), ElementsAre(log_line{err, "[zipper] cannot pack 1 files into " + archive +
                                                         ": the archive cannot be put in place: No such "
                                                         "file or directory"}));
}

TEST_F(ZipperFailures, PacksNothingWithoutFiles) {
  EXPECT_FALSE(pack({}, archive));
  EXPECT_THAT(log.lines(), ElementsAre(log_line{err, "[zipper] cannot pack 0 files into " + archive +
                                                         ": there is no file to pack"}));
  EXPECT_THAT(names_in_exports(), IsEmpty());
}

TEST_F(ZipperFailures, FailsWhenNoneOfTheFilesExists) {
  EXPECT_FALSE(pack({"gone", "lost"}, archive));
  EXPECT_TRUE(log.holds(warn, "[zipper] file gone does not exist and is left out"));
  EXPECT_TRUE(log.holds(warn, "[zipper] file lost does not exist and is left out"));
  EXPECT_TRUE(log.holds(err, "none of the files exists"));
  EXPECT_THAT(names_in_exports(), IsEmpty());
}

TEST_F(ZipperFailures, RefusesNamesThatWouldBeCut) {
  in_workdir("a", "content");
  EXPECT_FALSE(pack({std::string("a\0b", 3)}, archive));
  EXPECT_FALSE(pack({"a"}, archive + std::string("\0b", 2)));
  EXPECT_TRUE(log.holds(err, "a name holds a byte that no file's name can hold"));
  EXPECT_THAT(names_in_exports(), IsEmpty());
}

TEST_F(ZipperFailures, FailsWhenTheNamesAreMoreThanAProgramCanBeGiven) {
  std::string deep;
  for (int level = 0; level < 15; ++level) {
    deep.append(200, 'd').append("/");
  }
  std::vector<std::string> files;
  for (int number = 0; number < 60; ++number) {
    files.push_back(in_workdir(deep + std::to_string(number), "content"));
  }
  child_process child([&] {
    // A quarter of it is what the system allows for arguments.
    rlimit const small_stack{512U * 1024U, 512U * 1024U};
    return setrlimit(RLIMIT_STACK, &small_stack) == 0 && !pack(files, archive) &&
                   log.holds(err, "Argument list too long")
               ? 0
               : 1;
  });
  EXPECT_EQ(child.wait(), 0);
  EXPECT_THAT(names_in_exports(), IsEmpty());
}

struct endless_archiver {
  char const* name;
  char const* script;
};

class EndlessArchiver : public ZipperTest, public testing::WithParamInterface<endless_archiver> {};

TEST_P(EndlessArchiver, IsKilledWithAllThatItStartedWhenItsTimeIsOver) {
  auto const command = given_program("endless", GetParam().script);
  auto const pipe = folder.path() / "pipe";
  ASSERT_EQ(mkfifo(pipe.c_str(), 0600), 0);
  in_workdir("a", "content");
  ASSERT_TRUE(pack({"a"}, archive));
  auto const before = content_of(archive);
  int const lives = open(pipe.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC);

  zipper tested(command + " 3>'" + pipe.string() + "'", "sh", std::chrono::milliseconds(500));
  tested.add_file("a");
  EXPECT_FALSE(tested.zip_from_folder_cd_workdir(workdir.string(), archive));

  EXPECT_TRUE(log.holds(err, "[zipper] cannot pack 1 files into " + archive +
                                 ": sh was not done within 500 ms and was killed"));
  EXPECT_TRUE(content_of(archive) == before);
  EXPECT_EQ(names_in_exports(), std::set<std::string>{"reports.zip"});
  // The pipe ends when the last process that has it open is gone.
  pollfd waiting{lives, POLLIN, 0};
  EXPECT_EQ(poll(&waiting, 1, 60'000), 1);
  char byte = 0;
  EXPECT_EQ(read(lives, &byte, 1), 0);
  close(lives);
}

INSTANTIATE_TEST_SUITE_P(
    Each, EndlessArchiver,
    testing::Values(endless_archiver{"Silent", "exec tail -f /dev/null\n"},
                    endless_archiver{"Wordy", "exec yes\n"},
                    endless_archiver{"Deaf", "trap '' TERM HUP INT\ntail -f /dev/null\n"},
                    endless_archiver{"WithoutOutput", "exec >/dev/null 2>&1\ntail -f /dev/null\n"},
                    endless_archiver{"LeavingAChildBehind", "tail -f /dev/null &\nexec zip \"$@\"\n"}),
    [](auto const& row) { return std::string(row.param.name); });

struct refused_destination {
  char const* name;
  void (*prepare)(fs::path const& destination);
  char const* reason;
};

class RefusedDestination : public ZipperTest, public testing::WithParamInterface<refused_destination> {};

TEST_P(RefusedDestination, StaysAsItIs) {
  in_workdir("a", "content");
  GetParam().prepare(archive);
  auto const type = fs::symlink_status(archive).type();
  auto const content = type == fs::file_type::regular ? content_of(archive) : "";
  EXPECT_FALSE(pack({"a"}, archive));
  EXPECT_EQ(fs::symlink_status(archive).type(), type);
  EXPECT_EQ(type == fs::file_type::regular ? content_of(archive) : "", content);
  EXPECT_TRUE(log.holds(err, GetParam().reason)) << testing::PrintToString(log.lines());
  EXPECT_EQ(names_in_exports(), std::set<std::string>{"reports.zip"});
}

INSTANTIATE_TEST_SUITE_P(
    Each, RefusedDestination,
    testing::Values(refused_destination{"Text",
                                        [](fs::path const& path) { std::ofstream(path) << "no archive\n"; },
                                        "zip error: Zip file structure invalid"},
                    refused_destination{"EmptyFile", [](fs::path const& path) { std::ofstream{path}; },
                                        "zip error: Zip file structure invalid"},
                    refused_destination{"Folder", [](fs::path const& path) { fs::create_directory(path); },
                                        "Is a directory"},
                    refused_destination{
                        "NamedPipe", [](fs::path const& path) { ASSERT_EQ(mkfifo(path.c_str(), 0600), 0); },
                        "Invalid argument"},
                    refused_destination{"LinkToADevice",
                                        [](fs::path const& path) { fs::create_symlink("/dev/null", path); },
                                        "Invalid argument"},
                    refused_destination{"LinkToNothing",
                                        [](fs::path const& path) { fs::create_symlink("nowhere", path); },
                                        "No such file or directory"}),
    [](auto const& row) { return std::string(row.param.name); });

TEST_F(ZipperFailures, FailsWhereNoArchiveCanBeMade) {
  in_workdir("a", "content");
  for (auto const* destination : {"missing/x.zip", "a/x.zip", "", "sub/"}) {
    log.clear();
    EXPECT_FALSE(pack({"a"}, destination)) << destination;
    EXPECT_THAT(log.lines(), SizeIs(1));
  }
  EXPECT_EQ(std::distance(fs::directory_iterator(workdir), fs::directory_iterator()), 1);
}

TEST_F(ZipperFailures, FailsWithoutAWorkingFolder) {
  zipper tested("zip", "sh");
  tested.add_file(in_workdir("a", "content"));
  EXPECT_FALSE(tested.zip_from_folder_cd_workdir("", archive));
  EXPECT_FALSE(tested.zip_from_folder_cd_workdir((folder.path() / "missing").string(), archive));
  EXPECT_TRUE(log.holds(err, "cannot start sh in " + (folder.path() / "missing").string()));
  EXPECT_THAT(names_in_exports(), IsEmpty());
}

TEST_F(ZipperFailures, LeavesNothingHalfWhenTheDiskIsFull) {
  std::string noise(500'000, '\0');
  std::uint32_t value = 1;
  for (auto& letter : noise) {
    value = value * 1664525U + 1013904223U;
    letter = static_cast<char>(value >> 24U);
  }
  in_workdir("small", "content");
  in_workdir("noise", noise);
  ASSERT_TRUE(pack({"small"}, archive));
  auto const before = content_of(archive);
  child_process child([&] { return limit_file_size(100'000) && !pack({"noise"}, archive) ? 0 : 1; });
  EXPECT_EQ(child.wait(), 0);
  EXPECT_TRUE(content_of(archive) == before);
  EXPECT_EQ(names_in_exports(), std::set<std::string>{"reports.zip"});
}

TEST_F(ZipperFailures, FlushesTheArchiveBeforeItGetsItsName) {
  in_workdir("a", "content");
  child_process child([&] {
    failing_call const broken_disk{SYS_fsync, EIO};
    return broken_disk.install() && !pack({"a"}, archive) ? 0 : 1;
  });
  EXPECT_EQ(child.wait(), 0);
  EXPECT_THAT(names_in_exports(), IsEmpty());
}

TEST_F(ZipperFailures, DoesNotCallUnknownEndsSuccess) {
  in_workdir("a", "content");
  child_process child([&] {
    return signal(SIGCHLD, SIG_IGN) != SIG_ERR && !pack({"a"}, archive) &&
                   log.holds(err, "sh ended in an unknown way: No child processes")
               ? 0
               : 1;
  });
  EXPECT_EQ(child.wait(), 0);
  EXPECT_THAT(names_in_exports(), IsEmpty());
}

}  // namespace
}  // namespace mura_common
