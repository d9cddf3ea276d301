#include "report_quota.h"

#include <limits>

namespace tavi::stations_maintenance {

bool report_quota::is_count_reached(diagnostic_report_type type, std::uint32_t stored_reports) const {
  switch (type) {
    case diagnostic_report_type::manual:
      return max_manual_reports <= stored_reports;
    case diagnostic_report_type::periodic:
      return max_periodic_reports <= stored_reports;
  }
  return false;
}

bool report_quota::has_room(std::uint64_t stored_bytes, std::uint64_t size) const {
  // The sum must not wrap around.
  return size <= std::numeric_limits<std::uint64_t>::max() - stored_bytes &&
         max_total_directory_size > stored_bytes + size;
}

}  // namespace tavi::stations_maintenance
