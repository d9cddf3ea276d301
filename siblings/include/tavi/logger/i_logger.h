#pragma once

#include <string>

#include "tavi/export.h"

namespace tavi::logger {

/// The kinds of functional-log entries that the stations maintenance service writes.
enum class log_subtype : unsigned int {
  diagnostic_periodic_generation = 1100,      ///< periodic generation was started, changed or stopped
  diagnostic_all_stations_generation = 1103,  ///< a run over all stations, its begin and its outcome
  firmware_available = 1105,                  ///< a firmware was stored and can be offered
  firmware_deleted = 1106,                    ///< a firmware was deleted
};

/// The category of all functional-log entries of the stations maintenance service.
inline constexpr unsigned int stations_maintenance_category = 13;

/// Client of the logger service: writes functional-log entries, which operators read.
class TAVI_SIBLINGS_EXPORT i_logger {
 public:
  virtual ~i_logger() = default;

  /// Connects to the logger service. @param options  reserved, give 0. @return whether the service answered
  [[nodiscard]] virtual bool init(int options) = 0;

  /// Queues one entry and returns at once; it is sent in the background. May be called from any thread.
  /// @param category  the number of the writing service
  /// @param subtype   the kind of the entry
  /// @param text      what operators read
  /// @return whether the entry was queued; false when the queue is full, the entry is then lost
  virtual bool send_functional_log(unsigned int category, log_subtype subtype, std::string const& text) = 0;
};

}  // namespace tavi::logger
