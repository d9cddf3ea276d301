#pragma once

#include <cstdint>
#include <filesystem>
#include <memory>
#include <span>
#include <string>
#include <system_error>

namespace tavi::site::firmware {

/// A file at the moment when it was looked at.
struct file_state {
  std::uint64_t size = 0;  ///< bytes
  /// Strong entity tag with its quotes; another one after every change of the file that the file system's
  /// clock can tell, and for another file under the same name.
  std::string tag;
};

/// A regular file, open for reading, that is told apart from every later state of it.
class firmware_file {
 public:
  /// Opens a file. May wait for the disk.
  /// @param path   absolute and without symbolic links, as they were resolved when the file was allowed
  /// @param error  receives why not: what the system says, `no_such_file_or_directory` also when it is no
  ///               regular file or the path leads elsewhere by now
  /// @return empty when it could not be opened
  [[nodiscard]] static std::unique_ptr<firmware_file> open(std::filesystem::path const& path,
                                                           std::error_code& error);
  ~firmware_file();
  firmware_file(firmware_file const&) = delete;
  firmware_file& operator=(firmware_file const&) = delete;

  /// As it was when it was opened.
  [[nodiscard]] file_state const& state() const { return opened; }

  /// Reads as many bytes as the buffer takes. May wait for the disk; any thread, one at a time.
  /// @return no error when the buffer is full of bytes of the opened state; `text_file_busy` when the file
  ///         has changed, was removed or renamed since; else what the system says
  [[nodiscard]] std::error_code read(std::uint64_t offset, std::span<char> buffer) const;

 private:
  explicit firmware_file(int file) : descriptor(file) {}

  int descriptor;
  file_state opened;
};

}  // namespace tavi::site::firmware
