#pragma once

#include <fcntl.h>
#include <pty.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

/// Where the program's input, output and errors go to.
enum class ctl_streams {
  pipes,     ///< one for the output and one for the errors; no input
  terminal,  ///< all to a terminal
};

/// A program in a process of its own, killed at the latest with its owner.
class ctl_process {
 public:
  /// @param words   program and arguments
  /// @param output  path of a file that takes the output; a pipe when empty
  /// @param screen  size of the terminal, which does not know any unless it is given
  explicit ctl_process(std::vector<std::string> words, ctl_streams streams = ctl_streams::pipes,
                       std::string const& output = "", winsize const& screen = {}) {
    std::vector<char*> pointers;
    for (auto& word : words) {
      pointers.push_back(word.data());
    }
    pointers.push_back(nullptr);
    auto const ends = streams == ctl_streams::pipes ? make_pipes(output) : make_terminal(screen);
    child = ::fork();
    if (child == 0) {
      ::dup2(ends[0], STDIN_FILENO);
      ::dup2(ends[1], STDOUT_FILENO);
      ::dup2(ends[2], STDERR_FILENO);
      ::close_range(STDERR_FILENO + 1, ~0U, 0);
      ::execv(pointers[0], pointers.data());
      ::_exit(127);
    }
    for (auto const end : ends) {
      ::close(end);
    }
  }
  ~ctl_process() {
    if (child > 0) {
      ::kill(child, SIGKILL);
      ::waitpid(child, nullptr, 0);
    }
    close_output();
    ::close(errors_end);
  }
  ctl_process(ctl_process const&) = delete;
  ctl_process& operator=(ctl_process const&) = delete;

  /// Everything written to the output, once `part` stands in it or the program has ended.
  std::string const& read_output(std::string const& part = "") {
    return read_from(output_end, output_text, part);
  }
  /// As `read_output`, of the errors; of a terminal both are the same.
  std::string const& read_errors(std::string const& part = "") {
    return read_from(errors_end, errors_text, part);
  }

  void type(std::string const& keys) const {
    [[maybe_unused]] auto const written = ::write(output_end, keys.data(), keys.size());
  }
  void send(int number) const { ::kill(child, number); }
  /// From now on nobody reads the output.
  void close_output() {
    if (output_end >= 0) {
      ::close(std::exchange(output_end, -1));
    }
  }

  /// Waits for the end. @return the exit code, or minus the number of the signal that ended it
  int wait() {
    int status = 0;
    ::waitpid(std::exchange(child, 0), &status, 0);
    return WIFEXITED(status) ? WEXITSTATUS(status) : -WTERMSIG(status);
  }

 private:
  static std::pair<int, int> make_pipe() {
    std::array<int, 2> ends{};
    if (::pipe2(ends.data(), O_CLOEXEC) != 0) {
      throw std::runtime_error("no pipe");
    }
    return {ends[0], ends[1]};
  }
  std::array<int, 3> make_pipes(std::string const& output) {
    auto const [out_read, out_write] = make_pipe();
    auto const [err_read, err_write] = make_pipe();
    output_end = out_read;
    errors_end = err_read;
    if (!output.empty()) {
      ::close(out_write);
    }
    return {::open("/dev/null", O_RDONLY | O_CLOEXEC),
            output.empty() ? out_write : ::open(output.c_str(), O_WRONLY | O_CLOEXEC), err_write};
  }
  std::array<int, 3> make_terminal(winsize const& screen) {
    int controller = -1;
    int terminal = -1;
    if (::openpty(&controller, &terminal, nullptr, nullptr, &screen) != 0) {
      throw std::runtime_error("no terminal");
    }
    output_end = controller;
    errors_end = ::dup(controller);
    return {terminal, ::dup(terminal), ::dup(terminal)};
  }

  static std::string const& read_from(int end, std::string& text, std::string const& part) {
    std::array<char, 4096> chunk{};
    while (part.empty() || text.find(part) == std::string::npos) {
      // The end of a terminal is an error, because nobody holds its other side any more.
      auto const count = ::read(end, chunk.data(), chunk.size());
      if (count <= 0) {
        break;
      }
      text.append(chunk.data(), static_cast<std::size_t>(count));
    }
    return text;
  }

  pid_t child = 0;
  int output_end = -1;
  int errors_end = -1;
  std::string output_text;
  std::string errors_text;
};
