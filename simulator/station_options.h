#pragma once

#include <chrono>
#include <cstdint>
#include <filesystem>
#include <optional>
#include <string>
#include <string_view>

namespace tavi::simulator {

/// How patient a simulated station is; the defaults are those of a real one, tests shorten them.
struct station_pace {
  std::chrono::milliseconds first_pause = std::chrono::seconds(1);     ///< before connecting again
  std::chrono::milliseconds longest_pause = std::chrono::seconds(30);  ///< to which that pause doubles
  std::chrono::milliseconds connect_time = std::chrono::seconds(10);   ///< for connection and handshake
  std::chrono::milliseconds call_time = std::chrono::seconds(30);      ///< for the answer to a call
  std::chrono::milliseconds close_time = std::chrono::seconds(2);      ///< for an orderly goodbye
  std::chrono::milliseconds idle_time = std::chrono::seconds(120);     ///< after which silence is a loss
  std::chrono::milliseconds transfer_time = std::chrono::seconds(30);  ///< a transfer may stand still
  std::chrono::milliseconds install_time = std::chrono::seconds(2);    ///< that installing a firmware takes
  std::chrono::seconds interval{60};  ///< between heartbeats or boot attempts, when the answer names none
};

/// Who a simulated station is, and whom it connects to.
struct station_options {
  std::string url;                         ///< "ws://host:port/ocpp"; the identity is appended
  std::string identity;                    ///< see `is_station_identity`
  std::string vendor = "Acme";             ///< at most 20 characters, as OCPP has it
  std::string model = "X7-22";             ///< at most 20 characters
  std::string serial;                      ///< at most 25 characters; not sent when empty
  std::string firmware_version = "1.0.0";  ///< at most 50 characters; not sent when empty; until an update
  std::filesystem::path work_folder;       ///< of this station alone; made when it is missing
  station_pace pace;                       ///< see `station_pace`
  /// Bytes of its first firmware after which the station loses the connection, once; never when empty.
  std::optional<std::uint64_t> break_download_after;
  bool is_refusing_installation = false;  ///< whether every firmware fails to be installed
};

/// Whether a text can name a station: 1 to 48 letters, digits and "*-_=:+|@.", but neither "." nor "..", so
/// that it can stand in a URL and in a file name.
[[nodiscard]] bool is_station_identity(std::string_view text);

}  // namespace tavi::simulator
