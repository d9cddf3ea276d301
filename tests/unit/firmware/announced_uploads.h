#pragma once

#include <list>
#include <string>

#include "log_capture.h"
#include "pending_upload.h"

namespace tavi::stations_maintenance {

/// The uploads that a manager awaits, as they are at this moment; every query would bring them up to date.
std::list<fw_storage_mgr::pending_upload>& announced_uploads_of(fw_storage_mgr& manager);

/// Waits until the time of an announced upload is over: logged, and noted in its status. Nothing looks at the
/// upload meanwhile. No further request or event may come in before this returns.
/// @return whether the time ended within a minute
[[nodiscard]] bool wait_for_timeout(fw_storage_mgr& manager, log_capture const& log,
                                    std::string const& token);

}  // namespace tavi::stations_maintenance
