#pragma once

#include <chrono>
#include <cstdint>
#include <filesystem>
#include <memory>
#include <string>

#include <boost/asio/any_io_executor.hpp>
#include <boost/asio/awaitable.hpp>

#include "station_options.h"
#include "web_location.h"

namespace tavi::simulator {

/// How one try to upload a file ended.
struct upload_outcome {
  bool is_done = false;     ///< the server answered with a status of 200 to 299
  bool may_retry = true;    ///< false when the server's answer speaks against another try
  std::uint64_t bytes = 0;  ///< size of the file; 0 when it could not be opened
  std::string reason;       ///< why it failed; empty when done
};

/// Uploads one file by HTTP PUT, streamed, with its length announced. Used on the event loop's thread.
class file_upload {
 public:
  /// @param loop  runs the transfer
  /// @param pace  its time limits
  file_upload(boost::asio::any_io_executor const& loop, station_pace const& pace);
  ~file_upload();
  file_upload(file_upload const&) = delete;
  file_upload& operator=(file_upload const&) = delete;

  /// One try. May be repeated after it has ended.
  /// @param server  address; its path is the whole target
  /// @param file    what to send; stays as it is
  [[nodiscard]] boost::asio::awaitable<upload_outcome> put(web_location server, std::filesystem::path file);

  /// Breaks off the try that runs, and every later one.
  void cancel();

 private:
  struct members;
  std::shared_ptr<members> own;
};

}  // namespace tavi::simulator
