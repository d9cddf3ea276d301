#pragma once

#include <filesystem>
#include <optional>
#include <string>

namespace tavi::site::ocpp {

/// Where a station is told to fetch a firmware.
struct firmware_offer {
  std::string location;  ///< URL
  std::string token;     ///< by which the offer can be withdrawn; a secret
};

/// Who delivers firmware to stations.
class firmware_source {
 public:
  virtual ~firmware_source() = default;

  /// Finds a file that may be delivered. Called on any thread; may wait for the disk.
  /// @return where it really lies; empty, with one line in the log, when there is no such file
  virtual std::optional<std::filesystem::path> find_file(std::string const& path) = 0;
  /// Makes a location for a station. Called on the site's event loop.
  /// @param file  as `find_file` gave it
  /// @return empty, with one line in the log, when none can be made
  virtual std::optional<firmware_offer> make_offer(unsigned int station_id,
                                                   std::filesystem::path const& file) = 0;
  /// Ends an offer that nobody took. Called on the site's event loop. @param token  of the offer
  virtual void withdraw(std::string const& token) = 0;
};

}  // namespace tavi::site::ocpp
