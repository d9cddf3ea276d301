#include "firmware_log.h"

#include <fmt/format.h>

namespace tavi::stations_maintenance {

using tavi::logger::log_subtype;

namespace {

char const* prefix_of(log_subtype subtype) {
  switch (subtype) {
    case log_subtype::firmware_available:
      return "New firmware available version: ";
    case log_subtype::firmware_deleted:
      return "Firmware deleted version: ";
    default:
      return "";
  }
}

}  // namespace

void write_firmware_log(tavi::logger::i_logger& logger, log_subtype subtype,
                        station_firmware_info const& info) {
  logger.send_functional_log(tavi::logger::stations_maintenance_category, subtype,
                             fmt::format("{}{} id={} for models: {}", prefix_of(subtype), info.version,
                                         info.id, fmt::join(info.models, ", ")));
}

}  // namespace tavi::stations_maintenance
