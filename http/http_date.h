#pragma once

#include <chrono>
#include <string>

namespace tavi::http {

/// A moment as HTTP writes it, to the second below, such as "Fri, 20 Nov 2026 13:05:09 GMT".
/// @param moment  of the years 1000 to 9999
[[nodiscard]] std::string to_http_date(std::chrono::system_clock::time_point moment);

}  // namespace tavi::http
