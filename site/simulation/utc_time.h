#pragma once

#include <chrono>
#include <string>

namespace tavi::site::simulation {

/// A moment in UTC with milliseconds, as OCPP writes it: "2026-11-20T14:05:09.123Z".
[[nodiscard]] std::string to_utc_extended(std::chrono::system_clock::time_point moment);

/// A moment in UTC to the second, fit for a file name: "20261120T140509Z".
[[nodiscard]] std::string to_utc_basic(std::chrono::system_clock::time_point moment);

}  // namespace tavi::site::simulation
