#pragma once

#include <memory>
#include <string>
#include <string_view>

#include <boost/asio/any_io_executor.hpp>
#include <boost/asio/awaitable.hpp>
#include <boost/asio/steady_timer.hpp>

#include "station_session.h"

namespace tavi::simulator {

/// Tells the central system how what it asked for goes, over whichever connection there is.
///
/// Its coroutines must not outlive it. Used on the event loop's thread.
class status_reports {
 public:
  /// @param loop  runs the reports
  explicit status_reports(boost::asio::any_io_executor loop);

  /// Sets the connection, ready or not; null when there is none.
  void set_session(std::shared_ptr<station_session> current) { session = std::move(current); }

  /// Says that the connection has become ready.
  void on_ready() { ready_signal.cancel(); }

  /// Ends every wait.
  void stop();

  /// Tells a status when the connection is ready, and otherwise nothing.
  /// @param action  a literal, such as "FirmwareStatusNotification"  @param status  its status
  [[nodiscard]] boost::asio::awaitable<void> mention(std::string_view action, std::string status);

  /// Tells a status that the central system waits for: waits for a ready connection, and says it again when
  /// that was lost before the answer. Parameters as for `mention`.
  [[nodiscard]] boost::asio::awaitable<void> tell(std::string_view action, std::string status);

 private:
  [[nodiscard]] boost::asio::awaitable<void> wait_until_ready();

  boost::asio::steady_timer ready_signal;  ///< cancelled when a session has become ready
  std::shared_ptr<station_session> session;
  bool is_stopping = false;
};

}  // namespace tavi::simulator
