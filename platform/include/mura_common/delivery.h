#pragma once

#include <memory>
#include <mutex>
#include <string>

#include "mura_common/export.h"

namespace mura_common {

/// The turn that every request and event of one service waits for.
///
/// The tables and managers of a service hold no lock of their own. So whoever hands a request or an event to
/// a service holds the service's lane meanwhile, and with that at most one is being handled at any moment,
/// though each source keeps its own thread. Sources find the lane by the service's name. A lane is a standard
/// mutex in use: lock it with `std::lock_guard`; it is not recursive.
using delivery_lane = std::mutex;

/// The lane of the service with this name; all sources of one process that name it get the same one.
[[nodiscard]] MURA_COMMON_EXPORT std::shared_ptr<delivery_lane> delivery_lane_of(std::string const& service);

}  // namespace mura_common
