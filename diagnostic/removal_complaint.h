#pragma once

#include <fmt/format.h>

#include <cstdint>
#include <optional>
#include <string>
#include <system_error>

namespace tavi::stations_maintenance {

/// What is to be logged after the directory of a station that no longer exists was removed.
/// @param removed  how many entries went; the largest number when the removal failed, perhaps half-way
/// @param error    of the removal
/// @return empty unless nothing was there to be removed: a removal that failed is not told
[[nodiscard]] inline std::optional<std::string> removal_complaint(unsigned int station_id,
                                                                  std::uintmax_t removed,
                                                                  std::error_code const& error) {
  if (removed != 0) {
    return std::nullopt;
  }
  return fmt::format(
      "[diagnostic_manager] Can't remove directory for non existing station {} from directory. Error : {}",
      station_id, error.message());
}

}  // namespace tavi::stations_maintenance
