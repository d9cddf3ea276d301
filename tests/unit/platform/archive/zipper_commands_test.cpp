#include <fcntl.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <set>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "archive_entries.h"
#include "child_process.h"
#include "zipper_fixture.h"

namespace mura_common {
namespace {

namespace fs = std::filesystem;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::Pair;

class ZipperCommands : public ZipperTest {};

TEST_F(ZipperCommands, PassesTheOptionsOfTheCommandOn) {
  in_workdir("a", std::string(10'000, 'x'));
  ASSERT_TRUE(pack({"a"}, (exports / "small.zip").string(), "zip -q -9"));
  ASSERT_TRUE(pack({"a"}, (exports / "stored.zip").string(), "zip -0"));
  EXPECT_LT(fs::file_size(exports / "small.zip"), 1000U);
  EXPECT_GT(fs::file_size(exports / "stored.zip"), 10'000U);
}

TEST_F(ZipperCommands, TakesACommandInQuotes) {
  auto const command = given_program("my programs/pack it", "exec zip \"$@\"\n");
  in_workdir("a", "content");
  EXPECT_TRUE(pack({"a"}, archive, "'" + command + "' -q"));
  EXPECT_THAT(archive_entries(archive), ElementsAre(Pair("a", "content")));
}

TEST_F(ZipperCommands, RunsTheShellOnceWithTheNamesAsArguments) {
  auto const shell = given_program(
      "counting shell", "printf '%s|' \"$@\" >>\"" + (folder.path() / "calls").string() + "\"\necho >>\"" +
                            (folder.path() / "calls").string() + "\"\nexec sh \"$@\"\n");
  in_workdir("a b", "content");
  in_workdir("c", "content");
  EXPECT_TRUE(pack({"a b", "c"}, archive, "zip", shell));
  auto const calls = content_of(folder.path() / "calls");
  EXPECT_EQ(std::count(calls.begin(), calls.end(), '\n'), 1) << calls;
  EXPECT_THAT(calls, testing::StartsWith("-c|unset ZIP ZIPOPT; zip \"$@\"|"));
  EXPECT_THAT(calls, testing::HasSubstr("|-nw|-g|"));
  EXPECT_THAT(calls, testing::EndsWith("|--|./a b|./c|\n"));
}

class AnyShell : public ZipperTest, public testing::WithParamInterface<char const*> {
 protected:
  void SetUp() override {
    if (system(("command -v " + std::string(GetParam()) + " >/dev/null").c_str()) != 0) {
      GTEST_SKIP() << GetParam() << " is not installed";
    }
  }
};

TEST_P(AnyShell, HandsTheNamesOnUnread) {
  in_workdir("$(touch RUN) [a]", "content");
  EXPECT_TRUE(pack({"$(touch RUN) [a]"}, archive, "zip", GetParam()));
  EXPECT_THAT(archive_entries(archive), ElementsAre(Pair("$(touch RUN) [a]", "content")));
  EXPECT_FALSE(fs::exists(workdir / "RUN"));
}

TEST_P(AnyShell, KeepsOptionsInTheEnvironmentFromTheArchiver) {
  auto const file = in_workdir("a", "content");
  for (auto const* variable : {"ZIP", "ZIPOPT"}) {
    child_process child([&] {
      // The option deletes what was packed.
      return setenv(variable, "-m", 1) == 0 && pack({"a"}, archive, "zip", GetParam()) ? 0 : 1;
    });
    EXPECT_EQ(child.wait(), 0);
    EXPECT_EQ(content_of(file), "content") << variable;
  }
}

INSTANTIATE_TEST_SUITE_P(Each, AnyShell, testing::Values("sh", "bash", "dash", "zsh"),
                         [](auto const& tested) { return std::string(tested.param); });

TEST_F(ZipperCommands, WritesOnlyWhatIsNewIntoAnArchiveThatGrows) {
  if (!fs::exists("/proc/self/io")) {
    GTEST_SKIP() << "this system does not count what a program writes";
  }
  constexpr std::size_t size = 100'000;
  constexpr int packings = 8;
  auto const command = given_program(
      "counting", "zip -0 \"$@\"; code=$?\nsed -n 's/^wchar: //p' /proc/$$/io >>written\nexit $code\n");
  for (int number = 1; number <= packings; ++number) {
    auto const name = std::to_string(number);
    in_workdir(name, std::string(size, 'x'));
    EXPECT_TRUE(pack({name}, archive, command));
  }
  EXPECT_EQ(archive_entries(archive).size(), std::size_t{packings});
  std::istringstream written(content_of(workdir / "written"));
  for (int number = 1; number <= packings; ++number) {
    std::size_t bytes = 0;
    ASSERT_TRUE(written >> bytes);
    EXPECT_GE(bytes, size);
    EXPECT_LT(bytes, 2 * size) << "packing " << number;
  }
}

TEST_F(ZipperCommands, RunsTheArchiverInTheWorkingFolderWithoutInput) {
  auto const command = given_program("asking", "pwd >said\nhead -c 1000 >>said\nexec zip \"$@\"\n");
  in_workdir("a", "content");
  EXPECT_TRUE(pack({"a"}, archive, command));
  EXPECT_EQ(content_of(workdir / "said"), fs::canonical(workdir).string() + "\n");
}

TEST_F(ZipperCommands, LetsTheArchiverPrintWithoutEnd) {
  auto const command =
      given_program("wordy", "yes out | head -c 2000000\nyes err | head -c 2000000 >&2\nexec zip \"$@\"\n");
  in_workdir("a", "content");
  EXPECT_TRUE(pack({"a"}, archive, command));
  EXPECT_THAT(log.lines(), IsEmpty());
}

TEST_F(ZipperCommands, GivesTheArchiverNoOpenFileBeyondTheStandardOnes) {
  int const inherited = open("/dev/null", O_RDONLY);
  // Three stands for the listed folder, open while it is listed.
  auto const command = given_program("listing", "ls /proc/self/fd >said\nexec zip \"$@\"\n");
  in_workdir("a", "content");
  EXPECT_TRUE(pack({"a"}, archive, command));
  close(inherited);
  EXPECT_EQ(content_of(workdir / "said"), "0\n1\n2\n3\n");
}

TEST_F(ZipperCommands, GivesTheArchiverSignalsAsIfNobodyHadTouchedThem) {
  // Read by the shell itself, which changes both for the programs that it runs.
  auto const shell = given_program("shell",
                                   "while read -r key value; do case $key in Sig[BI]*) echo $value;; esac; "
                                   "done </proc/$$/status >said\nexec sh \"$@\"\n");
  in_workdir("a", "content");
  child_process child([&] {
    sigset_t all;
    sigfillset(&all);
    bool const prepared = sigprocmask(SIG_SETMASK, &all, nullptr) == 0 &&
                          signal(SIGPIPE, SIG_IGN) != SIG_ERR && signal(SIGTERM, SIG_IGN) != SIG_ERR;
    return prepared && pack({"a"}, archive, "zip", shell) ? 0 : 1;
  });
  EXPECT_EQ(child.wait(), 0);
  std::istringstream said(content_of(workdir / "said"));
  std::uint64_t blocked = 0;
  std::uint64_t ignored = 0;
  ASSERT_TRUE(said >> std::hex >> blocked >> ignored);
  EXPECT_EQ(blocked, 0U);
  // Signals 32 and 33 are the C library's own.
  EXPECT_EQ(ignored & ~std::uint64_t{0x180000000}, 0U);
}

TEST_F(ZipperCommands, PacksWithoutStandardFilesOfItsOwn) {
  in_workdir("a", "content");
  child_process child([&] {
    close(STDIN_FILENO);
    close(STDOUT_FILENO);
    close(STDERR_FILENO);
    bool const packed = pack({"a"}, archive);
    bool const failed = !pack({"a"}, archive, "echo Heard; echo Told >&2; false");
    for (auto const& line : log.lines()) {
      std::ofstream(folder.path() / "said", std::ios::app) << line.text << '\n';
    }
    return packed && failed ? 0 : 1;
  });
  EXPECT_EQ(child.wait(), 0);
  EXPECT_EQ(content_of(folder.path() / "said"),
            "[zipper] cannot pack 1 files into " + archive + ": sh ended with 1: Heard Told\n");
  EXPECT_THAT(archive_entries(archive), ElementsAre(Pair("a", "content")));
}

TEST_F(ZipperCommands, LeavesNoProcessBehind) {
  in_workdir("a", "content");
  EXPECT_TRUE(pack({"a"}, archive));
  EXPECT_FALSE(pack({"a"}, archive, "false"));
  EXPECT_EQ(waitpid(-1, nullptr, WNOHANG), -1);
  EXPECT_EQ(errno, ECHILD);
}

TEST_F(ZipperCommands, PacksOnSeveralThreadsAtOnce) {
  in_workdir("a", "content");
  std::vector<std::thread> threads;
  for (int number = 0; number < 4; ++number) {
    threads.emplace_back([&, number] {
      for (int round = 0; round < 5; ++round) {
        EXPECT_TRUE(pack({"a"}, (exports / std::to_string(number)).string()));
      }
    });
  }
  for (auto& thread : threads) {
    thread.join();
  }
  EXPECT_EQ(names_in_exports(), (std::set<std::string>{"0", "1", "2", "3"}));
}

}  // namespace
}  // namespace mura_common
