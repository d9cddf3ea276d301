#include "deadline.h"

#include <cstdint>

namespace tavi::http {

namespace {

constexpr auto cancel_interval = std::chrono::milliseconds(50);

}  // namespace

struct deadline::members : std::enable_shared_from_this<deadline::members> {
  explicit members(boost::beast::tcp_stream& guarded) : stream(&guarded), timer(guarded.get_executor()) {}

  void wait(std::uint64_t begun_round);

  boost::beast::tcp_stream* stream;
  boost::asio::steady_timer timer;
  // An expiry that is queued already cannot be called back: its number tells that it is out of date.
  std::uint64_t round = 0;
  bool over = false;
};

void deadline::members::wait(std::uint64_t begun_round) {
  timer.async_wait([kept = shared_from_this(), begun_round](boost::system::error_code error) {
    if (error || kept->stream == nullptr || kept->round != begun_round) {
      return;
    }
    kept->over = true;
    kept->stream->cancel();
    // A read made of several smaller ones may just be between two of them, where nothing is there to be
    // ended, and would begin the next one without any limit.
    kept->timer.expires_after(cancel_interval);
    kept->wait(begun_round);
  });
}

deadline::deadline(boost::beast::tcp_stream& guarded) : own(std::make_shared<members>(guarded)) {
}

deadline::~deadline() {
  stop();
  own->stream = nullptr;
}

void deadline::start(std::chrono::milliseconds time) {
  own->over = false;
  auto const round = ++own->round;
  own->timer.expires_after(time);
  own->wait(round);
}

void deadline::stop() {
  ++own->round;
  own->timer.cancel();
}

bool deadline::is_over() const {
  return own->over;
}

}  // namespace tavi::http
