#pragma once

#include <chrono>
#include <cstddef>
#include <filesystem>
#include <vector>

#include "firmware/delivery_tokens.h"

namespace tavi::site::firmware {

/// Limits of a single delivery.
struct delivery_times {
  std::chrono::milliseconds idle_time = std::chrono::seconds(30);  ///< in which nothing of a file is taken
  std::chrono::milliseconds total_time = std::chrono::hours(1);    ///< for what one request asks for
};

/// How many deliveries may go on at once.
struct delivery_counts {
  /// With one token. A second one, because the site may not have noticed yet that a station lost the first.
  std::size_t per_token = 2;
  std::size_t altogether = 128;  ///< at most
};

/// How the firmware server is set up.
struct firmware_options {
  std::vector<std::filesystem::path> folders;  ///< out of which files are delivered; none deliver nothing
  delivery_limits tokens;                      ///< see there
  delivery_times times;                        ///< see there
  delivery_counts counts;                      ///< see there
};

}  // namespace tavi::site::firmware
