#include "mura_common/program_signals.h"

#include <errno.h>
#include <poll.h>
#include <signal.h>
#include <sys/eventfd.h>
#include <sys/signalfd.h>
#include <unistd.h>

#include <array>
#include <cstdint>
#include <future>
#include <system_error>
#include <thread>
#include <utility>

#include <spdlog/spdlog.h>

#include "files/file_descriptor.h"

namespace mura_common {
namespace {

sigset_t taken_signals(hangup_meaning meaning) {
  sigset_t taken;
  sigemptyset(&taken);
  sigaddset(&taken, SIGINT);
  sigaddset(&taken, SIGTERM);
  struct sigaction hangup {};
  ::sigaction(SIGHUP, nullptr, &hangup);
  // Who was started so as to outlive its terminal does not take the signal, which would wake it though ignored.
  if (meaning == hangup_meaning::go_on || hangup.sa_handler != SIG_IGN) {
    sigaddset(&taken, SIGHUP);
  }
  return taken;
}

file_descriptor checked(int descriptor, char const* what) {
  if (descriptor < 0) {
    throw std::system_error(errno, std::generic_category(), what);
  }
  return file_descriptor(descriptor);
}

}  // namespace

struct [[gnu::visibility("hidden")]] program_signals::members {
  members(hangup_meaning chosen, std::function<void(int)> function)
      : meaning(chosen), on_end(std::move(function)) {
    auto const taken = taken_signals(chosen);
    pthread_sigmask(SIG_BLOCK, &taken, nullptr);
    arriving = checked(signalfd(-1, &taken, SFD_CLOEXEC), "signalfd");
    closing = checked(eventfd(0, EFD_CLOEXEC), "eventfd");
  }

  void watch();
  void take(int number);

  hangup_meaning const meaning;
  std::function<void(int)> const on_end;
  file_descriptor arriving;
  file_descriptor closing;
  bool is_ending = false;  ///< belongs to the watcher
  std::promise<int> first;
  std::shared_future<int> const first_number = first.get_future().share();
  std::thread watcher;
};

void program_signals::members::watch() {
  while (true) {
    std::array<pollfd, 2> ready{{{arriving.get(), POLLIN, 0}, {closing.get(), POLLIN, 0}}};
    if (::poll(ready.data(), ready.size(), -1) < 0) {
      continue;
    }
    if (ready[1].revents != 0) {
      return;
    }
    signalfd_siginfo received{};
    if (::read(arriving.get(), &received, sizeof received) == sizeof received) {
      take(static_cast<int>(received.ssi_signo));
    }
  }
}

void program_signals::members::take(int number) {
  if (number == SIGHUP && meaning == hangup_meaning::go_on) {
    spdlog::info("[program_signals] SIGHUP: there is nothing that can be read again, the program goes on");
    return;
  }
  if (!std::exchange(is_ending, true)) {
    first.set_value(number);
  }
  if (on_end) {
    on_end(number);
  }
}

program_signals::program_signals(hangup_meaning meaning, std::function<void(int)> on_end)
    : own(std::make_unique<members>(meaning, std::move(on_end))) {
  own->watcher = std::thread([watched = own.get()] { watched->watch(); });
}

program_signals::~program_signals() {
  std::uint64_t const one = 1;
  [[maybe_unused]] auto const written = ::write(own->closing.get(), &one, sizeof one);
  own->watcher.join();
}

int program_signals::wait() const {
  return own->first_number.get();
}

}  // namespace mura_common
