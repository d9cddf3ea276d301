#include "tavi/stations/station_diagnostics_status.h"

#include <unordered_map>

namespace tavi::stations {

std::string const& station_diagnostics_status_helper::name_of(station_diagnostics_status status) {
  static std::unordered_map<station_diagnostics_status, std::string> const names{
      {station_diagnostics_status::idle, "idle"},
      {station_diagnostics_status::uploaded, "uploaded"},
      {station_diagnostics_status::upload_failed, "upload failed"},
      {station_diagnostics_status::uploading, "uploading"},
  };
  static std::string const unknown = "unknown";
  auto const found = names.find(status);
  return found == names.end() ? unknown : found->second;
}

}  // namespace tavi::stations
