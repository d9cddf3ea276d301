#include "mura_common/program_run.h"

#include <sys/wait.h>

#include <cerrno>
#include <chrono>
#include <fstream>
#include <string>
#include <thread>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "temporary_folder.h"

namespace mura_common {
namespace {

using ::testing::HasSubstr;
using ::testing::StartsWith;

class ProgramRun : public ::testing::Test {
 protected:
  /// @return what `run_program` returns, with a generous limit
  std::string run(std::vector<std::string> arguments) {
    return run_program(std::move(arguments), folder.path(), std::chrono::minutes(1));
  }

  /// Whether a process of this number does more than wait to be forgotten.
  static bool is_running(int process) {
    std::ifstream status("/proc/" + std::to_string(process) + "/status");
    for (std::string line; std::getline(status, line);) {
      if (line.starts_with("State:")) {
        return line.find('Z') == std::string::npos;
      }
    }
    return false;
  }

  temporary_folder folder;
};

TEST_F(ProgramRun, PassesArgumentsOnAsTheyAreAndWorksInItsFolder) {
  EXPECT_EQ(run({"sh", "-c", "printf '%s|' \"$@\" > printed", "sh", "a b", "$HOME", "*", "-x", "'\""}), "");
  EXPECT_EQ(content_of(folder.path() / "printed"), "a b|$HOME|*|-x|'\"|");
}

TEST_F(ProgramRun, TellsTheStatusAndTheLastWords) {
  EXPECT_EQ(run({"sh", "-c", "echo out; echo wrong >&2; exit 3"}), "sh ended with 3: out\nwrong\n");
  EXPECT_EQ(run({"false"}), "false ended with 1");
}

TEST_F(ProgramRun, TellsThatAProgramDoesNotExist) {
  EXPECT_THAT(run({"no_such_program_here"}), StartsWith("cannot start no_such_program_here in "));
}

TEST_F(ProgramRun, TellsThatItsFolderDoesNotExist) {
  auto const failure = run_program({"true"}, folder.path() / "missing", std::chrono::minutes(1));
  EXPECT_THAT(failure, StartsWith("cannot start true in "));
}

TEST_F(ProgramRun, GivesTheProgramNoInput) {
  EXPECT_EQ(run({"cat"}), "");
}

TEST_F(ProgramRun, TellsThatAProgramWasKilled) {
  EXPECT_EQ(run({"sh", "-c", "kill -9 $$"}), "sh was killed by signal 9");
}

TEST_F(ProgramRun, KillsAProgramWithWhatItStartedWhenItsTimeIsOver) {
  auto const failure = run_program({"sh", "-c", "sleep 300 & echo $! > started; wait"}, folder.path(),
                                   std::chrono::milliseconds(300));
  EXPECT_THAT(failure, HasSubstr("was not done within 300 ms and was killed"));
  EXPECT_EQ(waitpid(-1, nullptr, WNOHANG), -1);
  EXPECT_EQ(errno, ECHILD);
  auto const started = content_of(folder.path() / "started");
  ASSERT_FALSE(started.empty());
  auto const deadline = std::chrono::steady_clock::now() + std::chrono::minutes(1);
  while (is_running(std::stoi(started)) && std::chrono::steady_clock::now() < deadline) {
    std::this_thread::yield();
  }
  EXPECT_FALSE(is_running(std::stoi(started)));
}

}  // namespace
}  // namespace mura_common
