#pragma once

#include <cstdint>
#include <filesystem>
#include <optional>
#include <string>
#include <vector>

namespace tavi::ctl {

/// Number of files in a zip archive, as the record at its end counts them; nothing else of it is looked at.
/// @return empty when the archive cannot be read, is none, or holds more than 65534 files
[[nodiscard]] std::optional<std::uint32_t> count_archived_files(std::filesystem::path const& archive);

/// One file in an archive.
struct archived_file {
  std::string name;        ///< as the archive has it: any bytes
  std::uint64_t size = 0;  ///< bytes when unpacked

  bool operator==(archived_file const&) const = default;
};

/// The files in a zip archive, in its order. @return empty as for `count_archived_files`, or when the list
/// of the files is no whole one
[[nodiscard]] std::optional<std::vector<archived_file>> list_archived_files(
    std::filesystem::path const& archive);

}  // namespace tavi::ctl
