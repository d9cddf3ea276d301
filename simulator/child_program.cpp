#include "child_program.h"

#include <fcntl.h>
#include <signal.h>
#include <spawn.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <fstream>
#include <utility>

#include <boost/asio/posix/stream_descriptor.hpp>
#include <boost/asio/redirect_error.hpp>
#include <boost/asio/use_awaitable.hpp>

namespace tavi::simulator {

namespace asio = boost::asio;

namespace {

/// Owns what posix_spawn needs to be told.
class spawn_plan {
 public:
  spawn_plan(std::filesystem::path const& output, std::filesystem::path const& errors) {
    posix_spawn_file_actions_init(&actions);
    posix_spawnattr_init(&attributes);
    auto const flags = O_WRONLY | O_CREAT | O_TRUNC;
    posix_spawn_file_actions_addopen(&actions, STDIN_FILENO, "/dev/null", O_RDONLY, 0);
    posix_spawn_file_actions_addopen(&actions, STDOUT_FILENO, output.c_str(), flags, 0600);
    posix_spawn_file_actions_addopen(&actions, STDERR_FILENO, errors.c_str(), flags, 0600);
    // A socket that the program held open too would not be closed when the station closes it.
    posix_spawn_file_actions_addclosefrom_np(&actions, STDERR_FILENO + 1);
    sigset_t none;
    sigemptyset(&none);
    posix_spawnattr_setsigmask(&attributes, &none);
    sigset_t pipes;
    sigemptyset(&pipes);
    sigaddset(&pipes, SIGPIPE);
    posix_spawnattr_setsigdefault(&attributes, &pipes);
    posix_spawnattr_setflags(&attributes, POSIX_SPAWN_SETSIGMASK | POSIX_SPAWN_SETSIGDEF);
  }
  ~spawn_plan() {
    posix_spawnattr_destroy(&attributes);
    posix_spawn_file_actions_destroy(&actions);
  }
  spawn_plan(spawn_plan const&) = delete;
  spawn_plan& operator=(spawn_plan const&) = delete;

  /// @return 0, or the error number
  int start(std::vector<std::string>& arguments, pid_t& process) {
    std::vector<char*> vector;
    for (auto& argument : arguments) {
      vector.push_back(argument.data());
    }
    vector.push_back(nullptr);
    return posix_spawnp(&process, vector.front(), &actions, &attributes, vector.data(), environ);
  }

 private:
  posix_spawn_file_actions_t actions{};
  posix_spawnattr_t attributes{};
};

std::string describe_end(std::string const& program, int status, std::filesystem::path const& errors) {
  auto how = WIFSIGNALED(status) ? " was killed by signal " + std::to_string(WTERMSIG(status))
                                 : " ended with " + std::to_string(WEXITSTATUS(status));
  std::string text(500, '\0');
  std::ifstream stream(errors, std::ios::binary);
  stream.read(text.data(), static_cast<std::streamsize>(text.size()));
  text.resize(static_cast<std::size_t>(stream.gcount()));
  return program + how + ": " + text;
}

}  // namespace

child_program::child_program(asio::any_io_executor loop) : executor(std::move(loop)) {
}

child_program::~child_program() {
  if (process != 0) {
    int status = 0;
    kill();
    reap(status);
  }
}

asio::awaitable<std::string> child_program::run(std::vector<std::string> arguments,
                                                std::filesystem::path output, std::filesystem::path errors) {
  auto const program = arguments.front();
  spawn_plan plan(output, errors);
  if (auto const failure = plan.start(arguments, process); failure != 0) {
    process = 0;
    co_return "cannot start " + program + ": " + std::strerror(failure);
  }
  auto const watch = static_cast<int>(syscall(SYS_pidfd_open, process, 0));
  if (watch >= 0) {
    asio::posix::stream_descriptor descriptor(executor, watch);
    boost::system::error_code ignored;
    auto token = asio::redirect_error(asio::use_awaitable, ignored);
    co_await descriptor.async_wait(asio::posix::stream_descriptor::wait_read, token);
  }
  // Without a watch, on an old kernel, this is where the loop stands still until the program has ended.
  int status = 0;
  reap(status);
  if (WIFEXITED(status) && WEXITSTATUS(status) == 0) {
    co_return std::string();
  }
  co_return describe_end(program, status, errors);
}

void child_program::kill() {
  if (process != 0) {
    ::kill(process, SIGKILL);
  }
}

void child_program::reap(int& status) {
  pid_t reaped = 0;
  do {
    reaped = waitpid(process, &status, 0);
  } while (reaped < 0 && errno == EINTR);
  if (reaped < 0) {
    // Taken by somebody else in this process: how it ended is unknown, which must not look like success.
    status = W_EXITCODE(255, 0);
  }
  process = 0;
}

}  // namespace tavi::simulator
