#include <signal.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "sanitizer.h"
#include "temporary_folder.h"

namespace {

/// The program in a process of its own, whose output can be read while it runs.
class program {
 public:
  /// @param descriptors  how many files it may have open, 0 for as many as the test
  explicit program(std::vector<std::string> arguments, rlim_t descriptors = 0) {
    std::array<int, 2> ends{};
    if (::pipe(ends.data()) != 0) {
      throw std::runtime_error("no pipe");
    }
    std::string const path = TAVI_SITE_PROGRAM;
    arguments.insert(arguments.begin(), path);
    std::vector<char*> pointers;
    for (auto& argument : arguments) {
      pointers.push_back(argument.data());
    }
    pointers.push_back(nullptr);
    child = ::fork();
    if (child == 0) {
      ::dup2(ends[1], STDOUT_FILENO);
      ::dup2(ends[1], STDERR_FILENO);
      ::close(ends[0]);
      ::close(ends[1]);
      if (descriptors > 0) {
        // What the test inherited must not take the few that the program is left with.
        ::close_range(STDERR_FILENO + 1, ~0U, 0);
        rlimit const most{descriptors, descriptors};
        ::setrlimit(RLIMIT_NOFILE, &most);
      }
      ::execv(pointers[0], pointers.data());
      ::_exit(127);
    }
    ::close(ends[1]);
    output = ends[0];
  }
  ~program() {
    if (child > 0) {
      ::kill(child, SIGKILL);
      ::waitpid(child, nullptr, 0);
    }
    ::close(output);
  }
  program(program const&) = delete;
  program& operator=(program const&) = delete;

  /// Reads until `part` was written. @return everything so far; lacks `part` when the program has ended
  std::string const& read_until(std::string const& part) {
    std::array<char, 4096> chunk;
    while (part.empty() || written.find(part) == std::string::npos) {
      auto const count = ::read(output, chunk.data(), chunk.size());
      if (count <= 0) {
        break;
      }
      written.append(chunk.data(), static_cast<std::size_t>(count));
    }
    return written;
  }

  void send(int number) const { ::kill(child, number); }

  /// Waits for the end. @return the exit code, or minus the number of the signal that ended it
  int wait() {
    int status = 0;
    ::waitpid(child, &status, 0);
    child = 0;
    return WIFEXITED(status) ? WEXITSTATUS(status) : -WTERMSIG(status);
  }

 private:
  pid_t child = 0;
  int output = -1;
  std::string written;
};

class TaviSite : public testing::Test {
 public:
  ~TaviSite() override { unsetenv("TAVI_RUNTIME_DIR"); }

 protected:
  TaviSite() { setenv("TAVI_RUNTIME_DIR", runtime.path().c_str(), 1); }

  /// The usual options, and some more.
  [[nodiscard]] std::vector<std::string> options(std::vector<std::string> const& more = {}) const {
    std::vector<std::string> all = {
        "--config", SITE_CONFIGURATION, "--state-dir", state.path() / "state", "--port", "0"};
    all.insert(all.end(), more.begin(), more.end());
    return all;
  }

  temporary_folder runtime;
  temporary_folder state;
};

TEST_F(TaviSite, SaysThatItIsReadyAndEndsCleanlyBySigterm) {
  program site(options());
  EXPECT_NE(site.read_until("tavi_site is ready on 127.0.0.1:").find("tavi_site is ready on"),
            std::string::npos);
  site.send(SIGTERM);
  EXPECT_EQ(site.wait(), 0) << site.read_until("");
}

TEST_F(TaviSite, EndsCleanlyBySigint) {
  program site(options({"--address", "127.0.0.2"}));
  EXPECT_NE(site.read_until("tavi_site is ready on 127.0.0.2:").find("ready on 127.0.0.2:"),
            std::string::npos);
  site.send(SIGINT);
  EXPECT_EQ(site.wait(), 0) << site.read_until("");
}

TEST_F(TaviSite, FailsWithALineAboutAMissingConfiguration) {
  program site({"--config", state.path() / "none.toml", "--state-dir", state.path()});
  EXPECT_NE(site.read_until("").find("none.toml"), std::string::npos);
  EXPECT_EQ(site.wait(), 1);
}

TEST_F(TaviSite, FailsWithALineAboutAnException) {
  if (is_sanitizer_in_need_of_descriptors) {
    GTEST_SKIP() << "the sanitizer needs the descriptors that this situation lacks";
  }
  // Enough for the signals and to read the configuration, and too few for an event loop.
  program site(options(), 6);
  EXPECT_NE(site.read_until("").find("the site ends by an exception: "), std::string::npos);
  EXPECT_EQ(site.wait(), 1);
}

TEST_F(TaviSite, FailsWithALineAboutAStateFolderThatCannotBeUsed) {
  state.write("state", "a file, not a folder");
  program site(options());
  EXPECT_NE(site.read_until("").find("state folder"), std::string::npos);
  EXPECT_EQ(site.wait(), 1);
}

TEST_F(TaviSite, FailsOnAnUnknownOption) {
  program site(options({"--fast"}));
  EXPECT_NE(site.read_until("").find("--fast"), std::string::npos);
  EXPECT_EQ(site.wait(), 2);
}

TEST_F(TaviSite, TellsItsVersion) {
  program site({"--version"});
  EXPECT_EQ(site.read_until(""), "tavi_site " SITE_VERSION "\n");
  EXPECT_EQ(site.wait(), 0);
}

TEST_F(TaviSite, GoesOnAfterSighup) {
  program site(options());
  site.read_until("tavi_site is ready on");
  site.send(SIGHUP);
  EXPECT_NE(site.read_until("the program goes on").find("SIGHUP"), std::string::npos);
  site.send(SIGTERM);
  EXPECT_EQ(site.wait(), 0);
}

TEST_F(TaviSite, ExplainsItsOptions) {
  program site({"--help"});
  auto const text = site.read_until("");
  for (auto const* const option : {"--config", "--state-dir", "--port", "--address"}) {
    EXPECT_NE(text.find(option), std::string::npos) << option;
  }
  EXPECT_EQ(site.wait(), 0);
}

}  // namespace
