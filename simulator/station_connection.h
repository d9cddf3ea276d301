#pragma once

#include <functional>
#include <memory>
#include <string>

#include <boost/asio/any_io_executor.hpp>
#include <boost/asio/awaitable.hpp>

#include "station_options.h"
#include "web_location.h"

namespace tavi::simulator {

/// One WebSocket of a station, with the sub-protocol `ocpp1.6`.
///
/// Fresh, then open after `open`, then over once `run` has returned; never opened again. Messages leave in
/// the order of `send`. Used on the event loop's thread.
class station_connection {
 public:
  /// @param loop  runs the connection
  /// @param pace  its time limits
  station_connection(boost::asio::any_io_executor loop, station_pace const& pace);
  ~station_connection();
  station_connection(station_connection const&) = delete;
  station_connection& operator=(station_connection const&) = delete;

  /// Connects and shakes hands.
  /// @param server  address; its path is the target asked for
  /// @return empty when open; otherwise why not: not reachable, refused, or another sub-protocol chosen
  [[nodiscard]] boost::asio::awaitable<std::string> open(web_location server);

  /// Reads until the connection is lost or closed by either side.
  /// @param on_text  gets each text frame; frames that are not text are logged and dropped
  /// @return why it ended
  [[nodiscard]] boost::asio::awaitable<std::string> run(std::function<void(std::string const&)> on_text);

  /// Queues a text frame; dropped when the connection is over. A peer that takes none of a long queue loses
  /// the connection.
  void send(std::string text);

  /// Ends the connection: sends what is queued and says goodbye, and cuts it off when that takes longer than
  /// the time for it. During `open` it gives up at once.
  void close();

 private:
  struct members;
  std::shared_ptr<members> own;
};

}  // namespace tavi::simulator
