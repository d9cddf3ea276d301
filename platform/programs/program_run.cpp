#include "mura_common/program_run.h"

#include <errno.h>
#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <spawn.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cstdint>
#include <limits>
#include <system_error>
#include <utility>

#include "files/file_descriptor.h"

namespace mura_common {

namespace {

/// As much of what a program printed as is told: its last words.
constexpr std::size_t told_bytes = 1000;

/// Owns what posix_spawn needs to be told.
class spawn_plan {
 public:
  spawn_plan(std::filesystem::path const& folder, file_descriptor const& output) {
    posix_spawn_file_actions_init(&actions);
    posix_spawnattr_init(&attributes);
    posix_spawn_file_actions_addchdir_np(&actions, folder.c_str());
    posix_spawn_file_actions_adddup2(&actions, output.get(), STDOUT_FILENO);
    posix_spawn_file_actions_adddup2(&actions, STDOUT_FILENO, STDERR_FILENO);
    posix_spawn_file_actions_addopen(&actions, STDIN_FILENO, "/dev/null", O_RDONLY, 0);
    posix_spawn_file_actions_addclosefrom_np(&actions, STDERR_FILENO + 1);
    sigset_t signals;
    sigemptyset(&signals);
    posix_spawnattr_setsigmask(&attributes, &signals);
    sigfillset(&signals);
    posix_spawnattr_setsigdefault(&attributes, &signals);
    // A process group of its own, so that all that it has started can be ended with it.
    posix_spawnattr_setpgroup(&attributes, 0);
    posix_spawnattr_setflags(&attributes,
                             POSIX_SPAWN_SETSIGMASK | POSIX_SPAWN_SETSIGDEF | POSIX_SPAWN_SETPGROUP);
  }
  ~spawn_plan() {
    posix_spawnattr_destroy(&attributes);
    posix_spawn_file_actions_destroy(&actions);
  }
  spawn_plan(spawn_plan const&) = delete;
  spawn_plan& operator=(spawn_plan const&) = delete;

  /// @return 0, or the error number
  [[nodiscard]] int start(std::vector<std::string>& arguments, pid_t& process) const {
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

std::string describe_error(int number) {
  return std::generic_category().message(number);
}

using run_clock = std::chrono::steady_clock;

/// @return what poll is to be told of the time that is left, at least 0
int milliseconds_until(run_clock::time_point end) {
  auto const left = std::chrono::ceil<std::chrono::milliseconds>(end - run_clock::now()).count();
  return static_cast<int>(std::clamp<std::int64_t>(left, 0, std::numeric_limits<int>::max()));
}

/// Reads a piece of what was printed, keeping the end of it all. @return false when nobody can write any more
bool read_words(file_descriptor const& output, std::string& words) {
  std::array<char, 4096> piece{};
  auto const length = ::read(output.get(), piece.data(), piece.size());
  if (length > 0) {
    words.append(piece.data(), static_cast<std::size_t>(length));
    words.erase(0, words.size() > told_bytes ? words.size() - told_bytes : 0);
  }
  return length > 0 || (length < 0 && errno == EINTR);
}

/// Reads until nobody can write any more and the process has ended, however much it is: a program that met a
/// full pipe would stand still.
/// @return false when the time is over first
bool read_last_words(file_descriptor output, pid_t process, run_clock::time_point end, std::string& words) {
  // Without such a descriptor, which old systems lack, only what is printed is waited for in time.
  file_descriptor ending(static_cast<int>(::syscall(SYS_pidfd_open, process, 0)));
  while (output.is_open() || ending.is_open()) {
    std::array<pollfd, 2> watched{{{output.get(), POLLIN, 0}, {ending.get(), POLLIN, 0}}};
    auto const left = milliseconds_until(end);
    // Looked at first: what prints without end is always ready.
    if (left == 0) {
      return false;
    }
    auto const ready = ::poll(watched.data(), watched.size(), left);
    if (ready > 0 && watched[0].revents != 0 && !read_words(output, words)) {
      output = file_descriptor();
    }
    if (ready > 0 && watched[1].revents != 0) {
      ending = file_descriptor();
    }
  }
  return true;
}

/// @return how the process ended; empty when with 0
std::string wait_for(pid_t process) {
  int status = 0;
  pid_t ended = 0;
  do {
    ended = ::waitpid(process, &status, 0);
  } while (ended < 0 && errno == EINTR);
  if (ended < 0) {
    // Taken by somebody else in this process; not knowing must not look like success.
    return " ended in an unknown way: " + describe_error(errno);
  }
  if (WIFSIGNALED(status)) {
    return " was killed by signal " + std::to_string(WTERMSIG(status));
  }
  return WEXITSTATUS(status) == 0 ? std::string() : " ended with " + std::to_string(WEXITSTATUS(status));
}

}  // namespace

std::string run_program(std::vector<std::string> arguments, std::filesystem::path const& folder,
                        std::chrono::milliseconds limit) {
  auto const program = arguments.front();
  std::array<int, 2> ends{};
  if (::pipe2(ends.data(), O_CLOEXEC) != 0) {
    return "cannot start " + program + ": " + describe_error(errno);
  }
  file_descriptor output(ends[0]);
  file_descriptor input(ends[1]);
  pid_t process = 0;
  auto const end_of_time = run_clock::now() + limit;
  if (auto const failure = spawn_plan(folder, input).start(arguments, process); failure != 0) {
    return "cannot start " + program + " in " + folder.string() + ": " + describe_error(failure);
  }
  input = file_descriptor();
  std::string words;
  auto const is_in_time = read_last_words(std::move(output), process, end_of_time, words);
  if (!is_in_time) {
    ::kill(-process, SIGKILL);
  }
  auto end = wait_for(process);
  if (!is_in_time) {
    end = " was not done within " + std::to_string(limit.count()) + " ms and was killed";
  }
  if (end.empty()) {
    return {};
  }
  return program + end + (words.empty() ? words : ": " + words);
}

}  // namespace mura_common
