#pragma once

#include <chrono>
#include <functional>
#include <memory>
#include <string>

#include <boost/asio/awaitable.hpp>
#include <boost/beast/core/tcp_stream.hpp>
#include <boost/beast/http/buffer_body.hpp>
#include <boost/beast/http/message.hpp>

#include "call_queue.h"
#include "ocpp_message.h"

namespace tavi::site::ocpp {

/// What keeps one station from holding the site up.
struct session_limits {
  std::chrono::milliseconds call_time_out = std::chrono::seconds(10);  ///< for the answer to a call
  std::chrono::milliseconds idle_time_out =
      std::chrono::seconds(60);  ///< without a sign of life; a ping is sent after half of it
};

/// One connection of one station.
///
/// States: made; open once `open` returned true; ended when the peer closed, was silent too long, or `drop`
/// was called. In the end every call that waits for an answer fails at once. Calls of the station are
/// answered in the order in which they come; of the site's own calls one is in flight, further ones wait in
/// order. Lives on the site's event loop and is always held by shared pointer.
class station_session : public std::enable_shared_from_this<station_session> {
 public:
  /// Gives the frame that answers a call of the station.
  using call_handler = std::function<std::string(ocpp_wire::call const& request)>;
  /// The header of the request that asks for the WebSocket.
  using upgrade_request = boost::beast::http::request<boost::beast::http::buffer_body>;

  /// @param stream   the connection, on which an upgrade request has been read
  /// @param name     of the station, for the log
  /// @param limits   see `session_limits`
  /// @param handler  called on the event loop, until the session has ended
  station_session(boost::beast::tcp_stream stream, std::string name, session_limits limits,
                  call_handler handler);
  ~station_session();
  station_session(station_session const&) = delete;
  station_session& operator=(station_session const&) = delete;

  /// Completes the handshake. @param request  outlives the coroutine @return whether the session is open now
  boost::asio::awaitable<bool> open(upgrade_request const& request);

  /// Reads messages until the session has ended. Once, after `open`.
  boost::asio::awaitable<void> run();

  /// Calls the station and waits for its answer.
  /// @param action   such as "GetDiagnostics"
  /// @param payload  an object
  boost::asio::awaitable<ocpp_wire::call_outcome> send_call(std::string action, nlohmann::json payload);

  /// Pings the station and waits for a sign of life.
  /// @param patience  how long at most
  /// @return whether one came; true for a session that is still being opened
  boost::asio::awaitable<bool> is_alive(std::chrono::milliseconds patience);

  /// Tells the station that the site goes away; the session ends when it has answered.
  void close();

  /// Ends the session at once, without a word to the station.
  void drop();

 private:
  struct members;
  std::unique_ptr<members> own;
};

}  // namespace tavi::site::ocpp
