#pragma once

#include "stations_maintenance/diagnostic_report.h"

namespace tavi::stations_maintenance {

/// What an upload will be whose token was handed to a station. All zero when made anew; station 0 means that
/// no such upload is expected.
struct expected_report_type {
  unsigned int station_id = 0;                                     ///< the station that was asked
  diagnostic_report_type type = diagnostic_report_type::periodic;  ///< why it was asked

  bool operator==(expected_report_type const&) const = default;
};

}  // namespace tavi::stations_maintenance
