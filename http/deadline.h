#pragma once

#include <chrono>
#include <memory>

#include <boost/asio/steady_timer.hpp>
#include <boost/beast/core/tcp_stream.hpp>

namespace tavi::http {

/// Ends what a stream waits for when a time is over, and leaves the stream open so that an answer can still
/// be written: the expiry of the stream itself would close it.
///
/// From then on whatever the stream waits for is ended too, within a moment, until `stop` or `start`.
/// After every operation on the stream the owner asks `is_over`, because time may also run out between two
/// operations. Lives on the event loop, and not longer than the stream.
class deadline {
 public:
  /// Not running yet. @param guarded  the stream whose operations end; outlives the deadline
  explicit deadline(boost::beast::tcp_stream& guarded);
  ~deadline();
  deadline(deadline const&) = delete;
  deadline& operator=(deadline const&) = delete;

  /// Begins to count, anew when it was counting already.
  /// @param time  from now on; zero or less ends the operation at the next turn of the loop
  void start(std::chrono::milliseconds time);

  /// Counts no more, and ends no more operations; `is_over` keeps its answer.
  void stop();

  /// Whether the time ran out since the last `start`.
  [[nodiscard]] bool is_over() const;

 private:
  struct members;
  std::shared_ptr<members> own;
};

}  // namespace tavi::http
