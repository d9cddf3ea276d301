#include "http/deadline.h"

#include <cstdint>

namespace tavi::site {

struct deadline::members {
  explicit members(boost::beast::tcp_stream& guarded) : stream(&guarded), timer(guarded.get_executor()) {}

  boost::beast::tcp_stream* stream;
  boost::asio::steady_timer timer;
  // An expiry that is queued already cannot be called back: its number tells that it is out of date.
  std::uint64_t round = 0;
  bool over = false;
};

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
  own->timer.async_wait([kept = own, round](boost::system::error_code error) {
    if (error || kept->stream == nullptr || kept->round != round) {
      return;
    }
    kept->over = true;
    kept->stream->cancel();
  });
}

void deadline::stop() {
  ++own->round;
  own->timer.cancel();
}

bool deadline::is_over() const {
  return own->over;
}

}  // namespace tavi::site
