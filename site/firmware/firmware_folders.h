#pragma once

#include <filesystem>
#include <optional>
#include <string>
#include <vector>

namespace tavi::site::firmware {

/// The folders out of which files may be delivered, as an operator writes them: absolute paths, separated by
/// ":"; none when the text is empty.
/// @return empty when one of them is not absolute, or empty itself
[[nodiscard]] std::optional<std::vector<std::filesystem::path>> parse_firmware_folders(
    std::string const& text);

/// Finds a file that may be delivered. May wait for the disk; any thread.
///
/// Symbolic links are followed first, in the path and in the folders: what counts is where the file really
/// lies. A folder that does not exist yet, or no more, holds no file.
/// @param folders  the file lies in one of them, or deeper
/// @param path     absolute; any bytes
/// @return where the file really lies; empty, with a line in the log that says why, unless it is a regular
///         file there that can be read
[[nodiscard]] std::optional<std::filesystem::path> find_deliverable(
    std::vector<std::filesystem::path> const& folders, std::string const& path);

}  // namespace tavi::site::firmware
