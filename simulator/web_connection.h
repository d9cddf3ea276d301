#pragma once

#include <boost/asio/any_io_executor.hpp>
#include <boost/asio/awaitable.hpp>
#include <boost/asio/ip/tcp.hpp>
#include <boost/beast/core/tcp_stream.hpp>
#include <boost/system/error_code.hpp>

#include "station_options.h"
#include "web_location.h"

namespace tavi::simulator {

/// A station's connection to a web server, made anew for each try. Used on the event loop's thread.
class web_connection {
 public:
  /// @param loop  runs the connection  @param limits  its time limits
  web_connection(boost::asio::any_io_executor loop, station_pace const& limits);
  web_connection(web_connection const&) = delete;
  web_connection& operator=(web_connection const&) = delete;

  /// Resolves and connects. @param server  outlives the coroutine @return why not, when it cannot
  [[nodiscard]] boost::asio::awaitable<boost::system::error_code> open(web_location const& server);

  /// Ends the connection; it can be opened again.
  void close() { tcp.close(); }

  /// Ends the connection and every later try.
  void cancel();

  /// Whether `cancel` was called.
  [[nodiscard]] bool is_cancelled() const { return cancelled; }

  /// What is read from and written to.
  [[nodiscard]] boost::beast::tcp_stream& stream() { return tcp; }

  /// Gives what is read or written next the time that a transfer may stand still.
  void expect_progress() { tcp.expires_after(pace.transfer_time); }

 private:
  station_pace pace;
  boost::asio::ip::tcp::resolver resolver;
  boost::beast::tcp_stream tcp;
  bool cancelled = false;
};

}  // namespace tavi::simulator
