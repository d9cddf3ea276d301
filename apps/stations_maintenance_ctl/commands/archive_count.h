#pragma once

#include <cstdint>
#include <filesystem>
#include <optional>

namespace tavi::ctl {

/// Number of files in a zip archive, as the record at its end counts them; nothing else of it is looked at.
/// @return empty when the archive cannot be read, is none, or holds more than 65534 files
[[nodiscard]] std::optional<std::uint32_t> count_archived_files(std::filesystem::path const& archive);

}  // namespace tavi::ctl
