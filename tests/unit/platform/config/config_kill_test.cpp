#include <signal.h>
#include <sys/ptrace.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <filesystem>
#include <stdexcept>
#include <string>
#include <system_error>

#include <gtest/gtest.h>

#include "mura_common/config.h"
#include "temporary_folder.h"

namespace mura_common {
namespace {

std::string const old_text = "# kept\n[a]\nnumber = 1 # one\ntext = \"old\"\n";
std::string const new_text = "# kept\n[a]\nnumber = 200 # one\ntext = \"new\"\n";

/// A process that saves a configuration and is followed from one system call to the next.
class traced_saver {
 public:
  explicit traced_saver(std::filesystem::path const& file) {
    std::string program = CONFIG_SAVER;
    std::string argument = file;
    std::array<char*, 3> arguments{program.data(), argument.data(), nullptr};
    process = fork();
    if (process == 0) {
      ptrace(PTRACE_TRACEME, 0, nullptr, nullptr);
      execv(program.c_str(), arguments.data());
      _exit(127);
    }
    if (process < 0) {
      throw std::system_error(errno, std::generic_category(), "fork");
    }
    wait_for_change();
    if (!is_alive()) {
      throw std::runtime_error("the saver could not be traced");
    }
    auto const options = PTRACE_O_EXITKILL | PTRACE_O_TRACESYSGOOD;
    ptrace(PTRACE_SETOPTIONS, process, nullptr, static_cast<long>(options));
    go_on_to_saving();
  }

  ~traced_saver() { kill_now(); }
  traced_saver(traced_saver const&) = delete;
  traced_saver& operator=(traced_saver const&) = delete;

  /// Goes on to the next entry into or return from a system call. @return false when the process has ended
  bool step() {
    do {
      proceed(PTRACE_SYSCALL);
    } while (is_alive() && WSTOPSIG(status) != (SIGTRAP | 0x80));
    return is_alive();
  }

  /// Ends the process where it stands.
  void kill_now() {
    while (is_alive()) {
      kill(process, SIGKILL);
      wait_for_change();
    }
  }

  /// What the process returned; -1 when it was killed or runs.
  [[nodiscard]] int exit_code() const { return WIFEXITED(status) ? WEXITSTATUS(status) : -1; }

 private:
  [[nodiscard]] bool is_alive() const { return WIFSTOPPED(status); }

  void go_on_to_saving() {
    do {
      proceed(PTRACE_CONT);
    } while (is_alive() && WSTOPSIG(status) != SIGSTOP);
    if (!is_alive()) {
      throw std::runtime_error("the saver ended before saving");
    }
  }

  /// Hands on no signal: the saver's own stop has done its work once it is seen here.
  void proceed(__ptrace_request how) {
    if (ptrace(how, process, nullptr, nullptr) != 0) {
      throw std::system_error(errno, std::generic_category(), "ptrace");
    }
    wait_for_change();
  }

  void wait_for_change() {
    while (waitpid(process, &status, 0) < 0) {
      if (errno != EINTR) {
        throw std::system_error(errno, std::generic_category(), "waitpid");
      }
    }
  }

  pid_t process = -1;
  int status = 0;
};

class KilledSaving : public testing::Test {
 protected:
  /// Saves once more, as the restarted service would.
  [[nodiscard]] bool save_again() const {
    toml_config config;
    if (!config.load(file)) {
      return false;
    }
    auto number = config.getParam<unsigned int>("a.number");
    auto text = config.getParam<std::string>("a.text");
    if (!number || !text) {
      return false;
    }
    number->set(200);
    text->set("new");
    return config.save();
  }

  [[nodiscard]] std::size_t file_count() const {
    return static_cast<std::size_t>(std::distance(std::filesystem::directory_iterator(folder.path()),
                                                  std::filesystem::directory_iterator()));
  }

  temporary_folder folder;
  std::filesystem::path file = folder.write("service.toml", old_text);
};

TEST_F(KilledSaving, LeavesTheOldOrTheNewFileWholeAtEveryStep) {
  constexpr int step_limit = 2000;
  int old_count = 0;
  int new_count = 0;
  bool is_finished = false;
  for (int last_step = 1; !is_finished; ++last_step) {
    ASSERT_LE(last_step, step_limit) << "saving does not come to an end";
    folder.write("service.toml", old_text);
    traced_saver saver(file);
    for (int step = 0; step < last_step && !is_finished; ++step) {
      is_finished = !saver.step();
    }
    saver.kill_now();

    auto const found = content_of(file);
    ASSERT_TRUE(found == old_text || found == new_text) << "killed at step " << last_step << ":\n" << found;
    old_count += found == old_text ? 1 : 0;
    new_count += found == new_text ? 1 : 0;
    ASSERT_TRUE(save_again()) << "after a kill at step " << last_step;
    ASSERT_EQ(content_of(file), new_text) << "after a kill at step " << last_step;
    if (is_finished) {
      EXPECT_EQ(saver.exit_code(), 0);
      EXPECT_EQ(found, new_text);
    }
  }
  // Two stops for each system call; fewer than these could not open, write, flush, rename and flush again.
  EXPECT_GE(old_count, 8);
  EXPECT_GE(new_count, 3);
  EXPECT_LE(file_count(), 2U) << "what killed savings left behind must not pile up";
}

}  // namespace
}  // namespace mura_common
