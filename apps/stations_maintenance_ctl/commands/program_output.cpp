#include "commands/program_output.h"

#include <fcntl.h>
#include <signal.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <cerrno>

namespace tavi::ctl {

namespace {

/// Starts a program that writes to a pipe. @return its id; 0 when it could not be started
pid_t start_writing_to(int pipe_end, std::vector<std::string>& arguments) {
  std::vector<char*> pointers;
  for (auto& argument : arguments) {
    pointers.push_back(argument.data());
  }
  pointers.push_back(nullptr);
  posix_spawn_file_actions_t actions;
  ::posix_spawn_file_actions_init(&actions);
  ::posix_spawn_file_actions_addopen(&actions, STDIN_FILENO, "/dev/null", O_RDONLY, 0);
  ::posix_spawn_file_actions_adddup2(&actions, pipe_end, STDOUT_FILENO);
  ::posix_spawn_file_actions_addopen(&actions, STDERR_FILENO, "/dev/null", O_WRONLY, 0);
  pid_t program = 0;
  auto const error = ::posix_spawnp(&program, pointers.front(), &actions, nullptr, pointers.data(), environ);
  ::posix_spawn_file_actions_destroy(&actions);
  return error == 0 ? program : 0;
}

std::string read_up_to(int pipe_end, std::size_t most) {
  std::string text;
  std::array<char, 4096> piece{};
  while (text.size() < most) {
    auto const count = ::read(pipe_end, piece.data(), piece.size());
    if (count > 0) {
      text.append(piece.data(), static_cast<std::size_t>(count));
    } else if (count == 0 || errno != EINTR) {
      break;
    }
  }
  return text;
}

}  // namespace

std::optional<std::string> output_of(std::vector<std::string> arguments, std::size_t most) {
  std::array<int, 2> ends{};
  if (::pipe2(ends.data(), O_CLOEXEC) != 0) {
    return std::nullopt;
  }
  auto const program = start_writing_to(ends[1], arguments);
  ::close(ends[1]);
  auto text = program == 0 ? std::string() : read_up_to(ends[0], most);
  ::close(ends[0]);
  if (program == 0) {
    return std::nullopt;
  }
  auto const is_cut = text.size() >= most;
  if (is_cut) {
    ::kill(program, SIGKILL);
  }
  int status = 0;
  while (::waitpid(program, &status, 0) < 0 && errno == EINTR) {
  }
  auto const is_done = is_cut || (WIFEXITED(status) && WEXITSTATUS(status) == 0);
  return is_done ? std::optional(std::move(text)) : std::nullopt;
}

}  // namespace tavi::ctl
