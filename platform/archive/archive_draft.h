#pragma once

#include <filesystem>
#include <system_error>

namespace mura_common {

/// An archive in the making, in a folder of its own beside its destination; the folder goes away with this
/// object, whatever a program has left in it.
class archive_draft {
 public:
  archive_draft() = default;
  ~archive_draft();
  archive_draft(archive_draft const&) = delete;
  archive_draft& operator=(archive_draft const&) = delete;

  /// Makes the folder, and in it a copy of the archive that stands at the destination, if one does.
  /// @param destination  absolute
  /// @return false, with `error` set, when it cannot be made or what stands there is no regular file
  [[nodiscard]] bool prepare(std::filesystem::path const& destination, std::error_code& error);

  /// Where the archive is to be made.
  [[nodiscard]] std::filesystem::path path() const;

  /// Flushes the archive and gives it its name, in place of what stood there, whose permissions it keeps; a new one
  /// gets 0640.
  /// @return false, with `error` set, when it is missing or a step fails
  [[nodiscard]] bool publish(std::error_code& error) const;

 private:
  std::filesystem::path target;
  std::filesystem::path folder;
  bool is_new = true;  ///< whether nothing stands at the destination
};

}  // namespace mura_common
