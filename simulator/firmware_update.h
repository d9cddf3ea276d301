#pragma once

#include <filesystem>
#include <functional>
#include <memory>
#include <optional>
#include <string>

#include <boost/asio/any_io_executor.hpp>
#include <boost/asio/awaitable.hpp>
#include <boost/asio/steady_timer.hpp>

#include "file_download.h"
#include "firmware_request.h"
#include "station_options.h"
#include "web_location.h"

namespace tavi::simulator {

/// One answer to UpdateFirmware being carried out: waits for its time, fetches the file, reports each step
/// and installs.
///
/// Until the file is there it can be broken off in favour of another update. Lives as long as its coroutine.
/// Used on the event loop's thread.
class firmware_update : public std::enable_shared_from_this<firmware_update> {
 public:
  /// Tells the central system a FirmwareStatus, and comes back when it knows.
  using teller = std::function<boost::asio::awaitable<void>(std::string status)>;

  /// @param loop      runs the update
  /// @param asked     what the central system wants
  /// @param settings  the station's work folder, pace and misbehaviour
  /// @param name      what the firmware is called while it is fetched, in the work folder's "firmware"
  /// @param tell      see `teller`
  firmware_update(boost::asio::any_io_executor loop, firmware_request asked, station_options const& settings,
                  std::string const& name, teller tell);

  /// Carries it out. Once.
  ///
  /// What was installed stands as "installed" in the work folder's "firmware"; else nothing is left.
  /// @return the version that is installed now; empty when nothing was installed
  [[nodiscard]] boost::asio::awaitable<std::optional<std::string>> run();

  /// Breaks off what runs; the update ends without another word.
  void cancel();

  /// Whether another update may still take this one's place.
  [[nodiscard]] bool is_replaceable() const { return replaceable; }

  /// Whether it lost a connection because it was told to.
  [[nodiscard]] bool was_broken() const { return transfer.was_broken(); }

 private:
  [[nodiscard]] boost::asio::awaitable<void> wait_for_date();
  [[nodiscard]] boost::asio::awaitable<void> wait(std::chrono::milliseconds time);
  [[nodiscard]] boost::asio::awaitable<download_outcome> fetch();
  [[nodiscard]] boost::asio::awaitable<std::string> hash();
  [[nodiscard]] boost::asio::awaitable<void> report(char const* status);
  [[nodiscard]] boost::asio::awaitable<bool> install();
  [[nodiscard]] boost::asio::awaitable<std::optional<std::string>> fetch_and_install();

  boost::asio::any_io_executor executor;
  firmware_request request;
  station_options options;
  std::filesystem::path file;
  std::optional<web_location> source;
  teller say;
  file_download transfer;
  boost::asio::steady_timer pause;
  bool replaceable = true;
  bool is_cancelled = false;
};

}  // namespace tavi::simulator
