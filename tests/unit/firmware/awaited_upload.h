#pragma once

#include <string>

#include "fw_storage_mgr.h"
#include "log_capture.h"

namespace tavi::stations_maintenance {

/// The upload that a manager awaits under a token, as it is at this moment; every query would bring it up to
/// date. Null when there is none.
pending_upload* awaited_upload(fw_storage_mgr& manager, std::string const& token);

/// Waits until the time of an announced upload is over: logged, and noted in its status. Nothing looks at the
/// upload meanwhile. No further request or event may come in before this returns.
/// @return whether the time ended within a minute
[[nodiscard]] bool wait_for_timeout(fw_storage_mgr& manager, log_capture const& log,
                                    std::string const& token);

}  // namespace tavi::stations_maintenance
