#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <optional>
#include <string>

#include "firmware/firmware_options.h"
#include "ocpp/station_requests.h"
#include "ocpp/station_session.h"
#include "uploads/upload_options.h"

namespace tavi::site {

/// What an operator decides about a site.
struct site_options {
  std::filesystem::path state_folder;  ///< of everything that the site keeps; made when missing
  std::string address = "127.0.0.1";   ///< numeric, that the site listens on
  std::uint16_t port = 8180;           ///< that the site listens on; 0 lets the system choose
  std::string advertised_address;      ///< see `make_advertised_address`
  bool is_accepting_unknown = true;    ///< whether a station that is not known is taken in
  std::size_t station_limit = 1000;    ///< how many stations the site may have
  /// Connections that are no station's WebSocket: uploads, firmware being fetched, which takes half of them
  /// at most, and whoever knocks. The stations' WebSockets have a limit of their own, so that strangers
  /// cannot take their places. At least 2.
  std::size_t plain_connections = 256;
  std::chrono::seconds heartbeat = std::chrono::seconds(300);  ///< interval that stations are told
  ocpp::session_limits session;                                ///< of a station's connection
  uploads::upload_options uploads;                             ///< the spool folder is set by the site
  firmware::firmware_options firmware;                         ///< of the firmware server
  ocpp::update_options update;                                 ///< of every firmware update
  std::size_t event_log_bytes = 10 * 1024 * 1024;              ///< after which a new file is begun
  std::size_t event_log_files = 5;                             ///< older files that are kept
};

/// Reads the configuration of a site; every key of config/site.toml must be there.
/// A key that is not one of them is told in a warning.
/// @param file  TOML, see config/site.toml
/// @return empty, with one line in the log for each defect, when the file cannot be read, lacks a
///         key, or holds a value that its key does not take
[[nodiscard]] std::optional<site_options> read_site_options(std::filesystem::path const& file);

}  // namespace tavi::site
