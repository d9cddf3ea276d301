#pragma once

#include <cstdint>
#include <string>

#include "expected_report_type.h"

namespace tavi::stations_maintenance {

/// A file that a station uploaded under a token that was expected.
struct uploaded_report {
  std::string file_name;          ///< the name that the station gave it
  std::string path;               ///< where the web server put it
  std::uint64_t size = 0;         ///< in bytes; the largest number when it is not known
  expected_report_type expected;  ///< whose it is, and why it was asked for
};

}  // namespace tavi::stations_maintenance
