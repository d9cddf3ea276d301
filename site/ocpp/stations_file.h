#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace tavi::site::ocpp {

/// What is kept of a station across restarts.
struct stored_station {
  unsigned int id = 0;   ///< from 1, never given twice
  std::string identity;  ///< see `is_identity`
  std::string vendor;    ///< empty before the first BootNotification
  std::string model;     ///< empty before the first BootNotification

  bool operator==(stored_station const&) const = default;
};

/// Everything that the site keeps about its stations.
struct stations_file {
  unsigned int next_station = 1;         ///< number for the next new station; above all that were ever given
  std::int32_t next_transaction = 1;     ///< no transaction with this number or a higher one was ever begun
  std::vector<stored_station> stations;  ///< ascending by id

  bool operator==(stations_file const&) const = default;
};

/// Reads the text of the file.
/// @param error  receives what is wrong with it
/// @return empty when it is no JSON, lacks a part, or names a station twice
[[nodiscard]] std::optional<stations_file> parse_stations(std::string_view text, std::string& error);

/// The text of the file, one station in a line, ended by a newline.
[[nodiscard]] std::string format_stations(stations_file const& content);

}  // namespace tavi::site::ocpp
