#pragma once

#include <cstdint>
#include <filesystem>
#include <memory>
#include <optional>
#include <string>

#include <boost/asio/any_io_executor.hpp>
#include <boost/asio/awaitable.hpp>

#include "station_options.h"
#include "web_location.h"

namespace tavi::simulator {

/// How one try to fetch a file ended.
struct download_outcome {
  bool is_done = false;     ///< the whole file is there
  bool may_retry = true;    ///< false when another try would end in the same way
  std::uint64_t bytes = 0;  ///< that stand in the file now
  std::string reason;       ///< why it failed; empty when done
};

/// Fetches one file by HTTP GET, streamed. Used on the event loop's thread.
///
/// A try after a broken one asks for the rest alone, with Range and If-Range, when the server has told a
/// strong entity tag; a server that sends the whole again is taken at its word.
class file_download {
 public:
  /// @param loop  runs the transfer  @param pace  its time limits  @param target  the file, made or replaced
  file_download(boost::asio::any_io_executor const& loop, station_pace const& pace,
                std::filesystem::path target);
  ~file_download();
  file_download(file_download const&) = delete;
  file_download& operator=(file_download const&) = delete;

  /// Makes a later try lose its connection when so many bytes of the file are there; once.
  void break_after(std::optional<std::uint64_t> bytes);

  /// One try. May be repeated after it has ended. @param server  address; its path is the whole target
  [[nodiscard]] boost::asio::awaitable<download_outcome> get(web_location server);

  /// Breaks off the try that runs, and every later one.
  void cancel();

  /// Whether a connection was lost because of `break_after`.
  [[nodiscard]] bool was_broken() const;

 private:
  struct members;
  std::shared_ptr<members> own;
};

}  // namespace tavi::simulator
