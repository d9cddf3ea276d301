#pragma once

#include <cstdint>
#include <filesystem>
#include <fstream>
#include <string>
#include <string_view>

namespace tavi::simulator {

/// A station's own log file: one line for each OCPP message it sent or received, with the time in UTC.
///
/// Begun anew when it grows past its limit, so that a station can run for weeks. Used on one thread.
class station_journal {
 public:
  /// Opens the file, and continues it where it exists already.
  /// @param path   of the file; its folder exists
  /// @param limit  bytes after which the file is begun anew
  explicit station_journal(std::filesystem::path path, std::uint64_t limit = 8 * 1024 * 1024);

  /// Whether the file could be opened.
  [[nodiscard]] bool is_open() const;

  /// Adds a line.
  /// @param kind  such as "sent" or "received"
  /// @param text  any bytes; control characters become blanks, so that a message stays one line, and of a
  /// token, the path segment after "/upload/" or "/firmware/", only the first 6 characters are kept
  void record(std::string_view kind, std::string_view text);

  /// The file's path.
  [[nodiscard]] std::filesystem::path const& path() const { return file; }

 private:
  std::filesystem::path file;
  std::uint64_t most;
  std::ofstream stream;
};

}  // namespace tavi::simulator
