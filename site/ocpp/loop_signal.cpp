#include "ocpp/loop_signal.h"

#include <utility>

#include <boost/asio/redirect_error.hpp>
#include <boost/asio/use_awaitable.hpp>

namespace tavi::site::ocpp {

namespace {

/// Keeps a timer on the list for as long as the frame that waits for it lives.
class listed_timer {
 public:
  listed_timer(std::list<boost::asio::steady_timer*>& list, boost::asio::steady_timer& timer)
      : waiting(list), place(waiting.insert(waiting.end(), &timer)) {}
  ~listed_timer() { waiting.erase(place); }
  listed_timer(listed_timer const&) = delete;
  listed_timer& operator=(listed_timer const&) = delete;

 private:
  std::list<boost::asio::steady_timer*>& waiting;
  std::list<boost::asio::steady_timer*>::iterator place;
};

}  // namespace

loop_signal::loop_signal(boost::asio::any_io_executor loop) : executor(std::move(loop)) {
}

boost::asio::awaitable<void> loop_signal::wait_until(std::chrono::steady_clock::time_point deadline) {
  boost::asio::steady_timer timer(executor);
  timer.expires_at(deadline);
  listed_timer const listed(waiting, timer);
  // That the wait was cut short is no error: it is the notification.
  boost::system::error_code error;
  co_await timer.async_wait(boost::asio::redirect_error(boost::asio::use_awaitable, error));
}

void loop_signal::notify() {
  for (auto* const timer : waiting) {
    timer->cancel();
  }
}

}  // namespace tavi::site::ocpp
