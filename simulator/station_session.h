#pragma once

#include <chrono>
#include <functional>
#include <memory>
#include <string>
#include <string_view>

#include <boost/asio/any_io_executor.hpp>
#include <boost/asio/awaitable.hpp>
#include <boost/asio/steady_timer.hpp>
#include <nlohmann/json_fwd.hpp>

#include "call_queue.h"
#include "ocpp_message.h"
#include "station_connection.h"
#include "station_journal.h"
#include "station_options.h"

namespace tavi::simulator {

/// What a session tells its station, on the event loop's thread.
struct session_handlers {
  std::function<void()> on_connected;                   ///< the WebSocket is open
  std::function<void(std::chrono::seconds)> on_booted;  ///< accepted, with the interval between heartbeats
  std::function<void()> on_ready;                       ///< connectors announced; other calls may follow
  std::function<void(ocpp_wire::call const&)> on_call;  ///< to be answered with `send`
};

/// One connection of a station to the central system, with what OCPP says on it: BootNotification until
/// accepted, StatusNotification of connectors 0 and 1, then a Heartbeat for each interval.
///
/// Fresh, connected, booted, ready, over. Refuses broken calls by itself and journals every message.
class station_session : public std::enable_shared_from_this<station_session> {
 public:
  /// @param loop      runs the session
  /// @param settings  who the station is
  /// @param log       gets every message
  /// @param told      see `session_handlers`; all of them set
  station_session(boost::asio::any_io_executor loop, std::shared_ptr<station_options const> settings,
                  std::shared_ptr<station_journal> log, session_handlers told);

  /// Connects and talks until the connection is over. @param server  its path is the whole target
  /// @return why it is over, or why it could not be opened
  [[nodiscard]] boost::asio::awaitable<std::string> run(web_location server);

  /// Calls the central system, after the calls that wait already.
  /// @param action   a literal
  /// @param payload  an object
  /// @return how it ended
  [[nodiscard]] boost::asio::awaitable<ocpp_wire::call_outcome> call(std::string_view action,
                                                                     nlohmann::json payload);

  /// Sends a frame, an answer to a call for example.
  void send(std::string frame);

  /// Whether the station was accepted and has announced its connectors on this connection, which still
  /// stands.
  [[nodiscard]] bool is_ready() const { return ready; }

  /// Ends the session in an orderly way.
  void close();

 private:
  static boost::asio::awaitable<void> talk(std::shared_ptr<station_session> self);
  [[nodiscard]] boost::asio::awaitable<std::chrono::seconds> boot();
  [[nodiscard]] boost::asio::awaitable<void> wait(std::chrono::milliseconds time);
  [[nodiscard]] nlohmann::json describe_station() const;
  void on_text(std::string const& text);
  void on_answer(std::string const& id, ocpp_wire::call_outcome outcome);

  std::shared_ptr<station_options const> options;
  std::shared_ptr<station_journal> journal;
  session_handlers handlers;
  boost::asio::any_io_executor executor;
  station_connection connection;
  ocpp_wire::call_queue calls;
  boost::asio::steady_timer alarm;
  bool over = false;
  bool ready = false;
};

}  // namespace tavi::simulator
