#pragma once

#include "stations_maintenance/station_firmware_info.h"
#include "tavi/logger/i_logger.h"

namespace tavi::stations_maintenance {

/// Tells operators about a firmware: what happened, then its version, id and models.
void write_firmware_log(tavi::logger::i_logger& logger, tavi::logger::log_subtype subtype,
                        station_firmware_info const& info);

}  // namespace tavi::stations_maintenance
