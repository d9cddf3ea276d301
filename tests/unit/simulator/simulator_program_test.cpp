#include <fcntl.h>
#include <signal.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <string>
#include <vector>

#include "station_fixture.h"

namespace {

using ::testing::HasSubstr;

/// The program itself, as its own process, against the scripted server.
class SimulatorProgram : public station_fixture {
 public:
  ~SimulatorProgram() override {
    if (process != 0) {
      kill(process, SIGKILL);
      waitpid(process, nullptr, 0);
    }
  }

 protected:
  /// Starts the program; what it prints goes into the files "out" and "err".
  void launch(std::vector<std::string> arguments) {
    std::string const name_of_program = SIMULATOR_PROGRAM;
    arguments.insert(arguments.begin(), name_of_program);
    std::vector<char*> vector;
    for (auto& argument : arguments) {
      vector.push_back(argument.data());
    }
    vector.push_back(nullptr);
    posix_spawn_file_actions_t actions{};
    posix_spawn_file_actions_init(&actions);
    auto const flags = O_WRONLY | O_CREAT | O_TRUNC;
    posix_spawn_file_actions_addopen(&actions, 1, out.c_str(), flags, 0600);
    posix_spawn_file_actions_addopen(&actions, 2, err.c_str(), flags, 0600);
    auto const failure = posix_spawn(&process, vector[0], &actions, nullptr, vector.data(), environ);
    posix_spawn_file_actions_destroy(&actions);
    ASSERT_EQ(failure, 0);
  }

  /// Waits for the end. @return the exit code, -1 when a signal ended it
  int wait() {
    int status = 0;
    waitpid(std::exchange(process, 0), &status, 0);
    return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
  }

  pid_t process = 0;
  std::filesystem::path out = folder.path() / "out";
  std::filesystem::path err = folder.path() / "err";
};

TEST_F(SimulatorProgram, RunsSeveralStationsAndStopsCleanlyOnSignals) {
  for (auto const signal_number : {SIGTERM, SIGINT, SIGHUP}) {
    SCOPED_TRACE(signal_number);
    server->trace.clear();
    launch({"--url", server->station_url(), "--identity", "CS-001", "--work-dir", folder.path() / "stations",
            "--count", "2"});
    ASSERT_TRUE(run_until_traced("StatusNotification", 4));
    // Each line is there at once, not only when the program ends.
    EXPECT_THAT(content_of(out), HasSubstr("CS-001 booted\n"));
    EXPECT_THAT(content_of(out), HasSubstr("CS-002 booted\n"));
    kill(process, signal_number);
    ASSERT_TRUE(run_until_traced("closed", 2));
    EXPECT_EQ(wait(), 0);
    EXPECT_THAT(content_of(out), HasSubstr("CS-002 disconnected\n"));
    EXPECT_EQ(content_of(err), "");
  }
}

TEST_F(SimulatorProgram, UploadsDiagnosticsAndSaysSo) {
  launch({"--url", server->station_url(), "--identity", "CS-001", "--work-dir", folder.path() / "stations"});
  ASSERT_TRUE(run_until_traced("StatusNotification", 2));
  server->ask_for_diagnostics("d", server->upload_url());
  ASSERT_TRUE(run_until_traced("DiagnosticsStatusNotification Uploaded"));
  EXPECT_THAT(content_of(out), HasSubstr("CS-001 was asked for diagnostics\n"));
  EXPECT_THAT(content_of(out), HasSubstr("CS-001 uploaded diagnostics_CS-001_"));
}

TEST_F(SimulatorProgram, EndsWithOneLineWhenItsArgumentsAreBad) {
  launch({"--identity", "CS-001"});
  EXPECT_EQ(wait(), 2);
  EXPECT_EQ(content_of(out), "");
  auto const text = content_of(err);
  EXPECT_EQ(text.find('\n'), text.size() - 1) << text;
}

TEST_F(SimulatorProgram, ShowsHelp) {
  launch({"--help"});
  EXPECT_EQ(wait(), 0);
  EXPECT_THAT(content_of(out), HasSubstr("Example:"));
}

TEST_F(SimulatorProgram, ShowsItsVersion) {
  launch({"--version"});
  EXPECT_EQ(wait(), 0);
  EXPECT_THAT(content_of(out), HasSubstr("charging_station_simulator "));
}

TEST_F(SimulatorProgram, FailsWhenItsWorkFolderCannotBeMade) {
  launch({"--url", server->station_url(), "--identity", "CS-001", "--work-dir", folder.write("file", "x")});
  EXPECT_EQ(wait(), 1);
  EXPECT_THAT(content_of(out), HasSubstr("cannot open"));
}

}  // namespace
