#include "child_program.h"

#include <sys/wait.h>

#include <cerrno>
#include <chrono>
#include <exception>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include <boost/asio/co_spawn.hpp>
#include <boost/asio/io_context.hpp>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "diagnostics_archive.h"
#include "temporary_folder.h"

namespace {

using namespace tavi::simulator;
using ::testing::HasSubstr;
using ::testing::StartsWith;

class ChildProgram : public ::testing::Test {
 protected:
  /// Runs a task to its end on the loop. @return its value; empty when it did not end in a generous time
  std::optional<std::string> run(boost::asio::awaitable<std::string> task) {
    std::optional<std::string> ended;
    boost::asio::co_spawn(loop, std::move(task), [&ended](std::exception_ptr const& error, std::string text) {
      EXPECT_EQ(error, nullptr);
      ended = std::move(text);
    });
    loop.restart();
    loop.run_for(std::chrono::seconds(60));
    return ended;
  }

  boost::asio::io_context loop;
  temporary_folder folder;
  std::filesystem::path output = folder.path() / "output";
  std::filesystem::path errors = folder.path() / "errors";
  std::unique_ptr<child_program> program = std::make_unique<child_program>(loop.get_executor());
};

TEST_F(ChildProgram, PassesArgumentsOnAsTheyAreAndKeepsTheOutput) {
  EXPECT_EQ(run(program->run({"printf", "%s|", "a b", "$HOME", "*", "-x", "'\""}, output, errors)), "");
  EXPECT_EQ(content_of(output), "a b|$HOME|*|-x|'\"|");
}

TEST_F(ChildProgram, TellsTheStatusAndTheErrorText) {
  auto const failure = run(program->run({"sh", "-c", "echo out; echo wrong >&2; exit 3"}, output, errors));
  EXPECT_EQ(failure, "sh ended with 3: wrong\n");
  EXPECT_EQ(content_of(output), "out\n");
}

TEST_F(ChildProgram, TellsThatAProgramDoesNotExist) {
  auto const failure = run(program->run({"no_such_program_here"}, output, errors));
  ASSERT_TRUE(failure.has_value());
  EXPECT_THAT(*failure, StartsWith("cannot start no_such_program_here: "));
}

TEST_F(ChildProgram, TellsThatAnOutputFileCannotBeMade) {
  auto const failure = run(program->run({"true"}, folder.path() / "missing" / "output", errors));
  ASSERT_TRUE(failure.has_value());
  EXPECT_THAT(*failure, StartsWith("cannot start true: "));
}

TEST_F(ChildProgram, GivesTheProgramNoInput) {
  EXPECT_EQ(run(program->run({"cat"}, output, errors)), "");
}

TEST_F(ChildProgram, LetsTheLoopGoOnAndEndsWhenKilled) {
  std::string failure;
  boost::asio::co_spawn(
      loop, program->run({"sleep", "300"}, output, errors),
      [&failure](std::exception_ptr const&, std::string text) { failure = std::move(text); });
  loop.poll();
  EXPECT_EQ(failure, "");
  program->kill();
  loop.restart();
  loop.run_for(std::chrono::seconds(60));
  EXPECT_THAT(failure, HasSubstr("killed by signal 9"));
}

TEST_F(ChildProgram, LeavesNoProgramBehindWhenTheLoopGoesAway) {
  auto short_lived = std::make_unique<boost::asio::io_context>();
  auto abandoned = std::make_unique<child_program>(short_lived->get_executor());
  boost::asio::co_spawn(*short_lived, abandoned->run({"sleep", "300"}, output, errors),
                        [](std::exception_ptr const&, std::string const&) {});
  short_lived->poll();
  EXPECT_EQ(waitpid(-1, nullptr, WNOHANG), 0) << "it has to run before it can be left";
  short_lived.reset();
  abandoned.reset();
  EXPECT_EQ(waitpid(-1, nullptr, WNOHANG), -1);
  EXPECT_EQ(errno, ECHILD);
}

TEST_F(ChildProgram, ArchivesInAWorkFolderWithAnAwkwardName) {
  auto const work = folder.path() / "-host:a b'\n";
  std::filesystem::create_directories(work);
  diagnostics_material material;
  material.journal = folder.write("log", "line\n");
  material.configuration = "{}";
  material.status = "{}";
  diagnostics_archive archive(loop.get_executor(), work, "-x:y.tar.gz");
  EXPECT_EQ(run(archive.make(material)), "");
  // The two bytes that every gzip file begins with.
  EXPECT_THAT(content_of(archive.path()), StartsWith("\x1f\x8b"));
  archive.discard();
  EXPECT_TRUE(std::filesystem::is_empty(work));
}

TEST_F(ChildProgram, ReportsWhenTheArchivesFolderCannotBeMade) {
  diagnostics_material material;
  material.journal = folder.write("log", "line\n");
  diagnostics_archive archive(loop.get_executor(), material.journal, "x.tar.gz");
  auto const failure = run(archive.make(material));
  ASSERT_TRUE(failure.has_value());
  EXPECT_THAT(*failure, StartsWith("cannot make folder"));
}

}  // namespace
