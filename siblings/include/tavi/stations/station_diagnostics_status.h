#pragma once

#include <string>

#include "tavi/export.h"

namespace tavi::stations {

/// What a station last said about its diagnostics upload (OCPP 1.6, DiagnosticsStatusNotification).
enum class station_diagnostics_status : unsigned int {
  idle = 0,           ///< no upload in progress
  uploaded = 1,       ///< the last upload succeeded
  upload_failed = 2,  ///< the last upload failed
  uploading = 3,      ///< an upload is in progress; a further one must wait
};

/// Gives each status a name for log messages.
class TAVI_SIBLINGS_EXPORT station_diagnostics_status_helper {
 public:
  /// "idle", "uploaded", "upload failed", "uploading"; "unknown" for any other value.
  [[nodiscard]] static std::string const& name_of(station_diagnostics_status status);
};

}  // namespace tavi::stations
