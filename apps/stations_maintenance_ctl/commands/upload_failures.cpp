#include "commands/upload_failures.h"

#include "program_name.h"

namespace tavi::ctl {

upload_failures::upload_failures() : events(program_name, *this) {
  // Without these events a failure shows in that no report comes.
  static_cast<void>(events.subscribe_to_station_status());
}

void upload_failures::forget(std::uint32_t station) {
  std::lock_guard const lock(guard);
  failed.erase(station);
}

bool upload_failures::has(std::uint32_t station) const {
  std::lock_guard const lock(guard);
  return failed.contains(station);
}

void upload_failures::on_station_status(stations::charging_station_status const& status) {
  std::lock_guard const lock(guard);
  if (status.diagnostics_status == stations::station_diagnostics_status::upload_failed) {
    failed.insert(status.station_id);
  } else {
    failed.erase(status.station_id);
  }
}

}  // namespace tavi::ctl
