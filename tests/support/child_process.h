#pragma once

#include <errno.h>
#include <linux/filter.h>
#include <linux/seccomp.h>
#include <signal.h>
#include <stddef.h>
#include <sys/prctl.h>
#include <sys/resource.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <cstdint>
#include <functional>
#include <optional>

/// Makes one system call of this process fail from now on, for good: for child processes of a test.
struct failing_call {
  /// Fails only where the argument, masked, has the value.
  struct condition {
    unsigned int argument;
    std::uint32_t mask;
    std::uint32_t value;
  };

  long number;
  int error;
  std::optional<condition> only_if = {};

  /// @return whether the kernel allows it
  [[nodiscard]] bool install() const {
    auto const offset = static_cast<std::uint32_t>(offsetof(seccomp_data, args) +
                                                   (only_if ? only_if->argument : 0) * sizeof(std::uint64_t));
    auto const mask = only_if ? only_if->mask : 0;
    auto const value = only_if ? only_if->value : 0;
    std::array<sock_filter, 7> filter{{
        {BPF_LD | BPF_W | BPF_ABS, 0, 0, static_cast<std::uint32_t>(offsetof(seccomp_data, nr))},
        {BPF_JMP | BPF_JEQ | BPF_K, 0, 4, static_cast<std::uint32_t>(number)},
        {BPF_LD | BPF_W | BPF_ABS, 0, 0, offset},
        {BPF_ALU | BPF_AND | BPF_K, 0, 0, mask},
        {BPF_JMP | BPF_JEQ | BPF_K, 0, 1, value},
        {BPF_RET | BPF_K, 0, 0, SECCOMP_RET_ERRNO | static_cast<std::uint32_t>(error)},
        {BPF_RET | BPF_K, 0, 0, SECCOMP_RET_ALLOW},
    }};
    sock_fprog const program{static_cast<unsigned short>(filter.size()), filter.data()};
    return prctl(PR_SET_NO_NEW_PRIVS, 1, 0, 0, 0) == 0 &&
           prctl(PR_SET_SECCOMP, SECCOMP_MODE_FILTER, &program) == 0;
  }
};

/// Forbids this process to write files beyond a size, as a full disk would; for child processes of a test.
inline bool limit_file_size(rlim_t bytes) {
  rlimit const limit{bytes, bytes};
  return signal(SIGXFSZ, SIG_IGN) != SIG_ERR && setrlimit(RLIMIT_FSIZE, &limit) == 0;
}

/// A process that runs a function and ends with its result; killed at the latest with its owner.
class child_process {
 public:
  explicit child_process(std::function<int()> const& work) : id(fork()) {
    if (id == 0) {
      prctl(PR_SET_PDEATHSIG, SIGKILL);
      _exit(work());
    }
  }
  ~child_process() {
    if (id > 0) {
      kill_now();
    }
  }
  child_process(child_process const&) = delete;
  child_process& operator=(child_process const&) = delete;

  /// Waits for the end. @return what the function returned, or -1 when the process was killed
  int wait() {
    int status = 0;
    waitpid(id, &status, 0);
    id = -1;
    return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
  }

  /// Ends it at once, wherever it stands. @return whether it was still running
  bool kill_now() {
    ::kill(id, SIGKILL);
    return wait() == -1;
  }

 private:
  pid_t id;
};
