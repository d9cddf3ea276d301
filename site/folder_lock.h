#pragma once

#include <filesystem>

namespace tavi::site {

/// Keeps a second site away from a state folder, for as long as it lives and no longer than its process does.
class folder_lock {
 public:
  /// Holds no folder yet.
  folder_lock() = default;
  /// Gives the folder back.
  ~folder_lock();
  folder_lock(folder_lock const&) = delete;
  folder_lock& operator=(folder_lock const&) = delete;

  /// Takes the folder, which exists, by the file site.lock in it.
  /// @return false, with one line in the log, when another site holds it or it cannot be opened
  [[nodiscard]] bool take(std::filesystem::path const& folder);

 private:
  int descriptor = -1;
};

}  // namespace tavi::site
