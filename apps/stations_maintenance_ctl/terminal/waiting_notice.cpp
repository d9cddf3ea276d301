#include "terminal/waiting_notice.h"

#include <utility>

namespace tavi::ctl {

waiting_notice::waiting_notice(i_console& target, line_maker make, std::chrono::milliseconds silence)
    : console(target), make_line(std::move(make)) {
  if (console.progress_columns() > 0) {
    teller = std::thread([this, silence] { tell(silence); });
  }
}

waiting_notice::~waiting_notice() {
  if (!teller.joinable()) {
    return;
  }
  {
    std::lock_guard const lock(guard);
    is_over = true;
  }
  changed.notify_all();
  teller.join();
  if (has_told) {
    console.show_progress({});
  }
}

void waiting_notice::tell(std::chrono::milliseconds silence) {
  using clock = std::chrono::steady_clock;
  auto const begin = clock::now();
  auto next = begin + silence;
  std::unique_lock lock(guard);
  while (!changed.wait_until(lock, next, [this] { return is_over; })) {
    console.show_progress(make_line(std::chrono::floor<std::chrono::seconds>(clock::now() - begin)));
    has_told = true;
    next += std::chrono::seconds(1);
  }
}

}  // namespace tavi::ctl
