#pragma once

#include <chrono>
#include <cstdint>
#include <filesystem>
#include <string>

namespace tavi::site {

/// A file that was uploaded completely and waits in the spool for its owner.
struct finished_upload {
  std::string id;              ///< under which the spool knows it; of its own making
  std::filesystem::path path;  ///< absolute
  std::string token;           ///< with which it was uploaded
  std::string owner;           ///< who is to take it
  std::string name;            ///< as the uploader gave it: any bytes, never used as a path
  std::uint64_t bytes = 0;     ///< size of the file
  std::chrono::steady_clock::time_point expires_at{};  ///< when it is removed if nobody took it
};

}  // namespace tavi::site
