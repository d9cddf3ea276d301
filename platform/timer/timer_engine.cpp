#include "timer/timer_engine.h"

#include <utility>

namespace mura_common {

std::shared_ptr<timer_engine> timer_engine::share() {
  static auto const engine = std::make_shared<timer_engine>();
  return engine;
}

timer_engine::timer_engine()
    : work(boost::asio::make_work_guard(context)), relief(context), watcher([this] { context.run(); }) {
}

timer_engine::~timer_engine() {
  context.stop();
  watcher.join();
}

void timer_engine::submit(std::function<void()> job) {
  workers.submit(std::move(job));
  if (!watching) {
    watching = true;
    watch_queue();
  }
}

void timer_engine::watch_queue() {
  relief.expires_after(timer_workers::relief_interval);
  relief.async_wait([this](boost::system::error_code const&) {
    watching = workers.relieve();
    if (watching) {
      watch_queue();
    }
  });
}

}  // namespace mura_common
