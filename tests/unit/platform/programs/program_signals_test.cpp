#include "mura_common/program_signals.h"

#include <signal.h>
#include <sys/types.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <future>
#include <vector>

#include <gtest/gtest.h>

#include "log_capture.h"

namespace mura_common {
namespace {

constexpr std::chrono::seconds patience(60);
constexpr auto hangup_line = "[program_signals] SIGHUP: ";

/// Each situation has a process of its own, because what the signals mean stays changed in it.
int exit_code_of(void (*situation)()) {
  auto const child = ::fork();
  if (child == 0) {
    situation();
    ::_exit(testing::Test::HasFailure() ? 1 : 0);
  }
  int status = 0;
  ::waitpid(child, &status, 0);
  return WIFEXITED(status) ? WEXITSTATUS(status) : -WTERMSIG(status);
}

TEST(ProgramSignals, AreWaitedFor) {
  EXPECT_EQ(exit_code_of([] {
              program_signals const signals(hangup_meaning::go_on);
              ::kill(::getpid(), SIGTERM);
              EXPECT_EQ(signals.wait(), SIGTERM);
              EXPECT_EQ(signals.wait(), SIGTERM) << "asked again";
            }),
            0);
}

TEST(ProgramSignals, AreHandedToTheFunctionEachTime) {
  EXPECT_EQ(exit_code_of([] {
              std::vector<int> numbers;
              std::promise<void> second;
              program_signals const signals(hangup_meaning::go_on, [&](int number) {
                numbers.push_back(number);
                numbers.size() == 1 ? static_cast<void>(::kill(::getpid(), SIGTERM)) : second.set_value();
              });
              ::kill(::getpid(), SIGINT);
              EXPECT_EQ(second.get_future().wait_for(patience), std::future_status::ready);
              EXPECT_EQ(numbers, (std::vector{SIGINT, SIGTERM}));
              EXPECT_EQ(signals.wait(), SIGINT);
            }),
            0);
}

TEST(ProgramSignals, HangupIsALineInTheLogOfAProgramThatGoesOn) {
  EXPECT_EQ(exit_code_of([] {
              log_capture const log;
              program_signals const signals(hangup_meaning::go_on);
              ::kill(::getpid(), SIGHUP);
              EXPECT_TRUE(log.wait_for(spdlog::level::info, hangup_line, patience));
              ::kill(::getpid(), SIGINT);
              EXPECT_EQ(signals.wait(), SIGINT);
            }),
            0);
}

TEST(ProgramSignals, HangupDoesNotEndAProgramThatIsToOutliveItsTerminal) {
  EXPECT_EQ(exit_code_of([] {
              ::signal(SIGHUP, SIG_IGN);
              program_signals const signals(hangup_meaning::end);
              ::kill(::getpid(), SIGHUP);
              ::kill(::getpid(), SIGTERM);
              EXPECT_EQ(signals.wait(), SIGTERM);
            }),
            0);
}

TEST(ProgramSignals, HangupEndsAProgramOfATerminal) {
  EXPECT_EQ(exit_code_of([] {
              log_capture const log;
              program_signals const signals(hangup_meaning::end);
              ::kill(::getpid(), SIGHUP);
              EXPECT_EQ(signals.wait(), SIGHUP);
              EXPECT_FALSE(log.holds(spdlog::level::info, hangup_line));
            }),
            0);
}

TEST(ProgramSignals, OneThatCameBetweenTwoObjectsIsFoundByTheSecond) {
  EXPECT_EQ(exit_code_of([] {
              { program_signals const first(hangup_meaning::go_on); }
              ::kill(::getpid(), SIGTERM);
              program_signals const second(hangup_meaning::go_on);
              EXPECT_EQ(second.wait(), SIGTERM);
            }),
            0);
}

}  // namespace
}  // namespace mura_common
