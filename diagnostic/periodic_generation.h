#pragma once

#include <chrono>
#include <functional>

#include "mura_common/timer.h"
#include "tavi/logger/i_logger.h"

namespace tavi::stations_maintenance {

/// Arms a timer so that it runs the generation each period, and tells log and operators. With a period below
/// one second it only says that there is none, and leaves the timer as it is.
/// @param run  called on the timer's thread, each time after a line in the log
/// @return false when the timer could not be started
[[nodiscard]] bool start_periodic_generation(mura_common::Timer& timer, std::chrono::seconds period,
                                             tavi::logger::i_logger& operators, std::function<void()> run);

}  // namespace tavi::stations_maintenance
