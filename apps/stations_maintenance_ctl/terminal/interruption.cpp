#include "terminal/interruption.h"

#include <poll.h>
#include <signal.h>
#include <sys/eventfd.h>
#include <sys/signalfd.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdint>
#include <string>
#include <system_error>

#include <fmt/format.h>

#include "mura_common/file.h"
#include "program_name.h"

namespace tavi::ctl {

namespace {

constexpr int code_of_signals = 128;
constexpr int output_poll_milliseconds = 20;

int checked(int descriptor, char const* what) {
  if (descriptor < 0) {
    throw std::system_error(errno, std::generic_category(), what);
  }
  return descriptor;
}

void make_readable(int event) {
  std::uint64_t const one = 1;
  [[maybe_unused]] auto const written = ::write(event, &one, sizeof one);
}

/// Who started the program so wants it to outlive its terminal.
bool is_hang_up_ignored() {
  struct sigaction current {};
  return ::sigaction(SIGHUP, nullptr, &current) == 0 && current.sa_handler == SIG_IGN;
}

}  // namespace

interruption::interruption(shared_output& output) : shared(output) {
  sigset_t ends;
  sigemptyset(&ends);
  sigaddset(&ends, SIGINT);
  sigaddset(&ends, SIGTERM);
  if (!is_hang_up_ignored()) {
    sigaddset(&ends, SIGHUP);
  }
  pthread_sigmask(SIG_BLOCK, &ends, nullptr);
  signals = checked(signalfd(-1, &ends, SFD_CLOEXEC), "signalfd");
  raised = checked(eventfd(0, EFD_CLOEXEC), "eventfd");
  ending = checked(eventfd(0, EFD_CLOEXEC), "eventfd");
  watcher = std::thread([this] { watch(); });
}

interruption::~interruption() {
  make_readable(ending);
  watcher.join();
  ::close(signals);
  ::close(raised);
  ::close(ending);
}

std::chrono::system_clock::time_point interruption::now() const {
  return std::chrono::system_clock::now();
}

std::chrono::steady_clock::time_point interruption::steady_now() const {
  return std::chrono::steady_clock::now();
}

bool interruption::wait(std::chrono::milliseconds time) {
  auto const deadline = std::chrono::steady_clock::now() + time;
  while (!is_interrupted()) {
    auto const left =
        std::chrono::ceil<std::chrono::milliseconds>(deadline - std::chrono::steady_clock::now());
    if (left.count() <= 0) {
      return false;
    }
    pollfd woken{raised, POLLIN, 0};
    ::poll(&woken, 1, static_cast<int>(std::min<std::int64_t>(left.count(), 60'000)));
  }
  return true;
}

void interruption::take_over_interruption(char const* notice) {
  notice_of_end = notice;
  is_taken_over = true;
}

void interruption::watch() {
  while (true) {
    std::array<pollfd, 2> ready{{{signals, POLLIN, 0}, {ending, POLLIN, 0}}};
    if (::poll(ready.data(), ready.size(), -1) < 0) {
      continue;
    }
    if (ready[1].revents != 0) {
      return;
    }
    signalfd_siginfo received{};
    if (::read(signals, &received, sizeof received) == sizeof received) {
      on_signal(static_cast<int>(received.ssi_signo));
    }
  }
}

void interruption::on_signal(int number) {
  if (number == SIGINT && shared.is_paging) {
    return;
  }
  int none = 0;
  auto const is_first = raised_by.compare_exchange_strong(none, number);
  if (is_first && is_taken_over) {
    make_readable(raised);
    if (char const* const notice = notice_of_end) {
      auto const whole = await_end_of_output();
      tell(fmt::format("{}: {}\n", program_name, notice));
    }
    return;
  }
  std::unique_lock<std::mutex> whole;
  if (is_first) {
    whole = await_end_of_output();
  }
  tell({});
  ::_exit(code_of_signals + number);
}

/// A reader who does not read may hold the output up for ever; whoever insists ends the program all the same.
std::unique_lock<std::mutex> interruption::await_end_of_output() {
  std::unique_lock whole(shared.writing, std::defer_lock);
  pollfd again{signals, POLLIN, 0};
  while (!whole.try_lock() && ::poll(&again, 1, output_poll_milliseconds) == 0) {
  }
  return whole;
}

/// Writes in the place of the progress, or below the keys that were typed.
void interruption::tell(std::string const& text) {
  char const* const line_end = ::isatty(STDERR_FILENO) == 1 ? "\n" : "";
  std::error_code ignored;
  static_cast<void>(mura_common::write_all(
      STDERR_FILENO, (shared.is_showing_progress.exchange(false) ? clear_line : line_end) + text, ignored));
}

}  // namespace tavi::ctl
