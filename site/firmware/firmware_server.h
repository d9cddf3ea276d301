#pragma once

#include <filesystem>
#include <memory>
#include <optional>
#include <string>

#include "firmware/firmware_options.h"
#include "http_listener.h"

namespace tavi::site::firmware {

/// Where a station fetches a file.
struct firmware_location {
  std::string token;   ///< by which the location can be withdrawn
  std::string target;  ///< "/firmware/<token>/<file name>", the name as one encoded segment
};

/// Delivers files to stations under "/firmware/".
///
/// A file lies in one of the configured folders and needs a location that was made for it. Locations do not
/// survive a restart. Lives on the event loop, `find_file` apart.
class firmware_server {
 public:
  /// Only stores its argument. @param options  see `firmware_options`
  explicit firmware_server(firmware_options const& options);
  /// On the thread of the event loop, or when it runs no more.
  ~firmware_server();
  firmware_server(firmware_server const&) = delete;
  firmware_server& operator=(firmware_server const&) = delete;

  /// Adds the route "/firmware/". Deliveries that are going on when the server is destroyed are cut.
  void add_to(http::http_listener& listener);

  /// Finds a file that may be delivered; see `find_deliverable`. Any thread; may wait for the disk.
  [[nodiscard]] std::optional<std::filesystem::path> find_file(std::string const& path) const;

  /// Makes a location; a station's oldest one ends when it has all that it may have.
  /// @param station  who will be told  @param file  as `find_file` gave it
  /// @return empty, with a line in the log, when none can be made
  [[nodiscard]] std::optional<firmware_location> make_location(unsigned int station,
                                                               std::filesystem::path const& file);

  /// Ends a location before its time. @param token  of the location
  void withdraw(std::string const& token);

 private:
  struct members;
  std::unique_ptr<members> own;
};

}  // namespace tavi::site::firmware
