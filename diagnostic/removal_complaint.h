#pragma once

#include <cstdint>
#include <system_error>

#include <spdlog/spdlog.h>

namespace tavi::stations_maintenance {

/// Says that the directory of a station that no longer exists could not be removed, when nothing was there to
/// be removed; a removal that failed is not told.
/// @param removed  how many entries went; the largest number when the removal failed, perhaps half-way
/// @param error    of the removal
inline void complain_of_removal(unsigned int station_id, std::uintmax_t removed,
                                std::error_code const& error) {
  if (removed == 0) {
    spdlog::error(
        "[diagnostic_manager] Can't remove directory for non existing station {} from directory. Error : {}",
        station_id, error.message());
  }
}

}  // namespace tavi::stations_maintenance
