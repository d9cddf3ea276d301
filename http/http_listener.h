#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>

#include <boost/asio/io_context.hpp>

#include "http_exchange.h"

namespace tavi::http {

/// Limits that keep a single connection from holding the site up.
struct http_limits {
  std::chrono::milliseconds header_time = std::chrono::seconds(10);  ///< for a whole request header
  std::size_t header_bytes = 16 * 1024;                              ///< of a request header
  /// Open at once that no route has moved away, as it moves WebSockets; further ones are closed. Routes bound
  /// what they move away themselves.
  std::size_t connections = 1024;
  std::chrono::milliseconds accept_pause = std::chrono::milliseconds(200);  ///< after a failed accept
};

/// Accepts connections on the site's one port and hands each request to the route whose prefix it has.
///
/// Answers what belongs to no route with 404, a header that is broken or names no host with 400, one that is
/// too large with 431 and one that comes too slowly with 408; a connection on which nothing came in that time
/// is closed without an answer. Of a target in absolute form routes see path and query alone. When the
/// process is out of file descriptors it waits and goes on. An exception out of a route is logged and ends
/// its connection only. Runs on the given event loop; `stop` and destruction too.
class http_listener {
 public:
  /// @param loop    the site's event loop, run by one thread; outlives the listener
  /// @param limits  see `http_limits`
  http_listener(boost::asio::io_context& loop, http_limits limits);
  ~http_listener();
  http_listener(http_listener const&) = delete;
  http_listener& operator=(http_listener const&) = delete;

  /// Adds a route. Before `start` only.
  /// @param prefix  such as "/upload/"; the longest matching one wins
  /// @param route   may still be running after `stop`, until its connection's coroutine has ended
  void add_route(std::string const& prefix, http_route route);

  /// Binds and begins to accept.
  /// @param address  numeric address, such as "127.0.0.1" or "0.0.0.0"
  /// @param port     0 lets the system choose, see `port`
  /// @return false, with one line in the log that names address, port and reason, when it cannot be bound
  [[nodiscard]] bool start(std::string const& address, std::uint16_t port);

  /// The port that is listened on; 0 before `start` and after `stop`.
  [[nodiscard]] std::uint16_t port() const;

  /// Accepts no more and closes every connection that no route has moved away.
  void stop();

 private:
  struct members;
  std::shared_ptr<members> own;
};

}  // namespace tavi::http
