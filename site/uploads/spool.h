#pragma once

#include <cstdint>
#include <filesystem>
#include <memory>
#include <optional>
#include <string>
#include <system_error>
#include <unordered_map>
#include <vector>

#include "uploads/finished_upload.h"
#include "uploads/partial_upload.h"

namespace tavi::site::uploads {

/// The folder in which uploads are received and wait for their owners.
///
/// Every file in it has a name of the spool's own making: "<id>.part" while it is received, "<id>.upload"
/// when it is whole, with "<id>.json" beside it, which tells what it is. Owners take the ".upload" files away
/// themselves. Other files in the folder are left alone. Used on the event loop only.
class spool {
 public:
  /// @param folder        is made when it does not exist, with mode 0770: who takes files away writes to it
  /// @param budget_bytes  what all files together may hold at most
  spool(std::filesystem::path folder, std::uint64_t budget_bytes);

  /// Prepares the folder: partial uploads, and files that nothing is known about, are removed. What cannot be
  /// read at present is left for the next start, with a line in the log.
  /// @return the finished uploads that are still there; empty, with a line in the log that names the folder,
  ///         when it cannot be used
  [[nodiscard]] std::optional<std::vector<finished_upload>> open(clock_reading const& now);

  /// Begins a new file. @param error  why none could be made @return empty then
  [[nodiscard]] std::unique_ptr<partial_upload> begin(std::error_code& error);

  /// Sets room aside so that `upload` can hold `bytes` bytes in all. Files that were taken away since the
  /// last look give theirs free. @return false when the budget is used up
  [[nodiscard]] bool reserve(partial_upload& upload, std::uint64_t bytes);

  /// Counts a committed file as one that waits for its owner.
  void adopt(partial_upload& upload);

  /// Whether the file of an upload still waits.
  [[nodiscard]] static bool is_there(finished_upload const& upload);

  /// Forgets an upload, and removes its file where it is still there. Nothing when it is forgotten already.
  void remove(std::string const& id);

 private:
  std::optional<finished_upload> recover(std::string const& id, clock_reading const& now,
                                         std::error_code& error) const;
  void forget_taken();

  std::filesystem::path folder;
  std::shared_ptr<spool_budget> budget;
  std::unordered_map<std::string, std::uint64_t> waiting;  // bytes of finished uploads
};

}  // namespace tavi::site::uploads
