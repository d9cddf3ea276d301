#pragma once

#include <chrono>
#include <cstdint>
#include <filesystem>
#include <optional>
#include <string>
#include <string_view>

namespace tavi::site::uploads {

/// A file that was uploaded completely and waits in the spool for its owner.
struct finished_upload {
  std::string id;                   ///< under which the spool knows it; of its own making
  std::filesystem::path file_path;  ///< absolute
  std::string token;                ///< with which it was uploaded; not empty
  std::string owner;                ///< who is to take it
  std::string file_name;            ///< as the uploader gave it: any bytes, never used as a path
  std::uint64_t bytes = 0;          ///< size of the file
  std::chrono::steady_clock::time_point expires_at{};  ///< when it is removed if nobody took it
};

/// One moment on both clocks: the one that is never set, and the one that a restart does not end.
struct clock_reading {
  std::chrono::steady_clock::time_point steady = std::chrono::steady_clock::now();  ///< never set
  std::chrono::system_clock::time_point wall = std::chrono::system_clock::now();    ///< survives a restart
};

/// What is kept beside the file, so that a restart forgets nothing about it: token, owner, name and end of its
/// time, as one line of JSON. Bytes of the name that are no UTF-8 are replaced.
/// @param now  when it is written
[[nodiscard]] std::string write_sidecar(finished_upload const& upload, clock_reading const& now);

/// Reads what `write_sidecar` wrote.
/// @param now  when it is read; the end of the file's time lies a year after it at most, because a clock that was
///             set wrong must not make a file stay for ever
/// @return without id, path and size; empty when it is no such line, whatever else it is
[[nodiscard]] std::optional<finished_upload> read_sidecar(std::string_view text, clock_reading const& now);

}  // namespace tavi::site::uploads
