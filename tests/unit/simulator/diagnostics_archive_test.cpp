#include "diagnostics_archive.h"

#include <sys/wait.h>

#include <cerrno>
#include <chrono>
#include <exception>
#include <memory>
#include <optional>
#include <string>

#include <boost/asio/co_spawn.hpp>
#include <boost/asio/io_context.hpp>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "temporary_folder.h"

namespace {

using namespace tavi::simulator;
using ::testing::StartsWith;

class DiagnosticsArchive : public ::testing::Test {
 protected:
  DiagnosticsArchive() {
    material.journal = folder.write("log", "line\n");
    material.configuration = "{}";
    material.status = "{}";
  }

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
  diagnostics_material material;
};

TEST_F(DiagnosticsArchive, IsMadeInAWorkFolderWithAnAwkwardName) {
  auto const work = folder.path() / "-host:a b'\n";
  std::filesystem::create_directories(work);
  diagnostics_archive archive(loop.get_executor(), work, "-x:y.tar.gz");
  EXPECT_EQ(run(archive.make(material)), "");
  // The two bytes that every gzip file begins with.
  EXPECT_THAT(content_of(archive.path()), StartsWith("\x1f\x8b"));
  archive.discard();
  EXPECT_TRUE(std::filesystem::is_empty(work));
}

TEST_F(DiagnosticsArchive, TellsWhenItsFolderCannotBeMade) {
  diagnostics_archive archive(loop.get_executor(), material.journal, "x.tar.gz");
  auto const failure = run(archive.make(material));
  ASSERT_TRUE(failure.has_value());
  EXPECT_THAT(*failure, StartsWith("cannot make folder"));
}

TEST_F(DiagnosticsArchive, TellsWhatTarSays) {
  // A name that no file can have, because it is too long.
  diagnostics_archive archive(loop.get_executor(), folder.path(), std::string(300, 'x'));
  auto const failure = run(archive.make(material));
  ASSERT_TRUE(failure.has_value());
  EXPECT_THAT(*failure, StartsWith("tar ended with 2: "));
}

TEST_F(DiagnosticsArchive, LeavesNoProgramBehindWhenTheLoopGoesAway) {
  auto short_lived = std::make_unique<boost::asio::io_context>();
  diagnostics_archive archive(short_lived->get_executor(), folder.path(), "x.tar.gz");
  auto is_resumed = false;
  boost::asio::co_spawn(*short_lived, archive.make(material),
                        [&](std::exception_ptr const&, std::string const&) { is_resumed = true; });
  short_lived->run_one();
  short_lived.reset();
  EXPECT_FALSE(is_resumed);
  EXPECT_EQ(waitpid(-1, nullptr, WNOHANG), -1);
  EXPECT_EQ(errno, ECHILD);
}

}  // namespace
