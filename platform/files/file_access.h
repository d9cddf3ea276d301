#pragma once

#include <sys/types.h>

#include <filesystem>
#include <system_error>

#include "files/file_descriptor.h"

namespace mura_common {

/// What errno says, as an error code.
[[nodiscard]] std::error_code last_system_error();

/// Opens a folder, so that names in it can be made, removed and flushed through it.
/// @param folder  an existing folder; an empty path is the current one
/// @param error   set when it cannot be opened
/// @return the folder, or none
[[nodiscard]] file_descriptor open_folder(std::filesystem::path const& folder, std::error_code& error);

/// Flushes a file or folder to the disk. @return false, with `error` set, when the system reports a failure
[[nodiscard]] bool flush(file_descriptor const& file, std::error_code& error);

/// Whether a mode, as `stat` tells it, is a regular file's. @return false, with `error` set, for anything else
[[nodiscard]] bool is_regular(mode_t mode, std::error_code& error);

/// Copies from one file's position to its end, to the other's position. The kernel does it where it can: a
/// file system that shares blocks between files then copies nothing at all.
/// @return false, with `error` set, when not all was copied
[[nodiscard]] bool copy_bytes(file_descriptor const& from, file_descriptor const& to, std::error_code& error);

}  // namespace mura_common
