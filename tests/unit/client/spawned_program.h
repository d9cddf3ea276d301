#pragma once

#include <signal.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <stdexcept>
#include <string>
#include <vector>

/// A program in a process of its own, whose output can be read; killed at the latest with its owner.
class spawned_program {
 public:
  /// @param arguments  the program's path first; it inherits the environment
  explicit spawned_program(std::vector<std::string> arguments) {
    std::array<int, 2> ends{};
    if (pipe(ends.data()) != 0) {
      throw std::runtime_error("no pipe");
    }
    std::vector<char*> pointers;
    for (auto& argument : arguments) {
      pointers.push_back(argument.data());
    }
    pointers.push_back(nullptr);
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_adddup2(&actions, ends[1], STDOUT_FILENO);
    posix_spawn_file_actions_adddup2(&actions, ends[1], STDERR_FILENO);
    posix_spawn_file_actions_addclose(&actions, ends[0]);
    posix_spawn_file_actions_addclose(&actions, ends[1]);
    auto const problem = posix_spawn(&process, pointers[0], &actions, nullptr, pointers.data(), environ);
    posix_spawn_file_actions_destroy(&actions);
    close(ends[1]);
    output = ends[0];
    if (problem != 0) {
      close(output);
      throw std::runtime_error("cannot run " + arguments[0]);
    }
  }
  ~spawned_program() {
    kill_hard();
    close(output);
  }
  spawned_program(spawned_program const&) = delete;
  spawned_program& operator=(spawned_program const&) = delete;

  /// Reads until `part` was written. @return everything so far; lacks `part` when the program has ended
  std::string const& read_until(std::string const& part) {
    std::array<char, 4096> chunk;
    while (part.empty() || written.find(part) == std::string::npos) {
      auto const count = read(output, chunk.data(), chunk.size());
      if (count <= 0) {
        break;
      }
      written.append(chunk.data(), static_cast<std::size_t>(count));
    }
    return written;
  }

  /// Everything it writes until it ends.
  std::string const& read_all() { return read_until(""); }

  /// Waits for the end. @return the exit code, or minus the number of the signal that ended it
  int wait() {
    int status = 0;
    waitpid(process, &status, 0);
    process = 0;
    return WIFEXITED(status) ? WEXITSTATUS(status) : -WTERMSIG(status);
  }

  /// Ends it as nothing in this process could be ended.
  void kill_hard() {
    if (process > 0) {
      kill(process, SIGKILL);
      wait();
    }
  }

 private:
  pid_t process = 0;
  int output = -1;
  std::string written;
};
