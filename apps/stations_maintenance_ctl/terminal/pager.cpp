#include "terminal/pager.h"

#include <fcntl.h>
#include <signal.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstdlib>
#include <system_error>

#include "mura_common/file.h"

namespace tavi::ctl {

namespace {

constexpr int code_of_unusable_program = 126;  ///< of a shell; one more where there is none

/// The signals that this program takes for itself are the pager's own again in the pager.
void restore_signals(posix_spawnattr_t& attributes) {
  sigset_t none;
  sigemptyset(&none);
  sigset_t own;
  sigemptyset(&own);
  sigaddset(&own, SIGPIPE);
  posix_spawnattr_setsigmask(&attributes, &none);
  posix_spawnattr_setsigdefault(&attributes, &own);
  posix_spawnattr_setflags(&attributes, POSIX_SPAWN_SETSIGMASK | POSIX_SPAWN_SETSIGDEF);
}

/// @return the process; -1 when there is none
pid_t start(std::string command, int input) {
  posix_spawn_file_actions_t files;
  posix_spawn_file_actions_init(&files);
  posix_spawn_file_actions_adddup2(&files, input, STDIN_FILENO);
  posix_spawnattr_t attributes;
  posix_spawnattr_init(&attributes);
  restore_signals(attributes);
  std::string shell = "sh";
  std::string option = "-c";
  std::array<char*, 4> const words = {shell.data(), option.data(), command.data(), nullptr};
  pid_t process = -1;
  auto const error = ::posix_spawn(&process, "/bin/sh", &files, &attributes, words.data(), ::environ);
  posix_spawnattr_destroy(&attributes);
  posix_spawn_file_actions_destroy(&files);
  return error == 0 ? process : -1;
}

}  // namespace

std::string pager_command() {
  char const* const wanted = std::getenv("PAGER");
  std::string const command = wanted == nullptr ? "less" : wanted;
  return command == "cat" ? "" : command;
}

bool show_in_pager(std::string const& command, std::string_view text) {
  std::array<int, 2> ends{};
  if (::pipe2(ends.data(), O_CLOEXEC) != 0) {
    return false;
  }
  ::setenv("LESS", "FRX", 0);
  auto const process = start(command, ends[0]);
  ::close(ends[0]);
  // Whoever has read enough ends the program before it has everything.
  std::error_code ignored;
  [[maybe_unused]] auto const is_whole = process >= 0 && mura_common::write_all(ends[1], text, ignored);
  ::close(ends[1]);
  int status = 0;
  while (process >= 0 && ::waitpid(process, &status, 0) < 0 && errno == EINTR) {
  }
  return process >= 0 && !(WIFEXITED(status) && WEXITSTATUS(status) >= code_of_unusable_program);
}

}  // namespace tavi::ctl
