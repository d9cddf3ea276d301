#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <filesystem>

#include "uploads/announcer.h"
#include "uploads/token_store.h"

namespace tavi::site::uploads {

/// Limits of a single upload.
struct upload_limits {
  std::uint64_t max_bytes = 256ULL * 1024 * 1024;                  ///< of a request body
  std::chrono::milliseconds idle_time = std::chrono::seconds(30);  ///< in which nothing of a body comes
  std::chrono::milliseconds total_time = std::chrono::hours(1);    ///< for a whole body
  /// For which a finished file waits at least, though its token's life time may end during the upload.
  std::chrono::milliseconds least_waiting_time = std::chrono::minutes(10);
};

/// How the upload server is set up.
struct upload_options {
  std::filesystem::path spool_folder;                            ///< is made when it does not exist
  std::uint64_t spool_budget_bytes = 2ULL * 1024 * 1024 * 1024;  ///< of all files in the spool
  token_limits tokens;                                           ///< see there
  upload_limits upload;                                          ///< see there
  announcement_intervals intervals;                              ///< see there
};

}  // namespace tavi::site::uploads
