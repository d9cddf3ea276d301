#pragma once

#include <filesystem>
#include <string_view>
#include <system_error>

#include "mura_common/export.h"

namespace mura_common {

/// Copies a regular file so that the copy, once it can be seen under its name, is whole and survives power
/// loss.
///
/// The copy is made nameless (or under a temporary name where the file system has no nameless files),
/// flushed, and only then given its name; last, the folder is flushed. Copying is left to the kernel, so
/// memory use does not depend on the size. The copy has the permissions of the original. A crash leaves at
/// most a file of temporary name (".partial-" and six characters), and that only where nameless files are
/// missing. May be called from any thread.
/// @param from   an existing regular file
/// @param to     the name of the copy; its folder must exist, itself it must not
/// @param error  cleared on success; otherwise why the copy was not made: `file_exists` when something stands
///               at `to` already, `no_space_on_device`, and so on as the system reports it
/// @return whether the copy stands at `to`; when false nothing of it is left behind
[[nodiscard]] MURA_COMMON_EXPORT bool copy_file_durably(std::filesystem::path const& from,
                                                        std::filesystem::path const& to,
                                                        std::error_code& error);

/// Replaces a file's content in one step that survives power loss: temporary file beside it, flushed, renamed
/// over it, folder flushed.
///
/// After a crash at any moment the file holds the old or the new content, whole. Permissions of an existing
/// file are kept; a new one gets 0640. A symbolic link stays: the file behind it is replaced. The temporary
/// file of `name` is called `.name.new`; one that a crash left behind is overwritten by the next call. May be
/// called from any thread and process: callers that replace files of one folder take turns.
/// @param path     the file to replace or to create; its folder must exist
/// @param content  the bytes that it will hold
/// @param error    cleared on success, otherwise why the content was not replaced
/// @return whether the new content is in force for good; when false the old file stands unchanged, except
///         that after a failure of the last step, flushing the folder, a power loss decides which one stands
[[nodiscard]] MURA_COMMON_EXPORT bool replace_file_durably(std::filesystem::path const& path,
                                                           std::string_view content, std::error_code& error);

/// Flushes a folder's entries to the disk, so that names made or removed in it survive power loss.
/// @param folder  an existing folder; an empty path is the current one
/// @param error   cleared on success, otherwise why it failed
/// @return whether the folder was flushed
[[nodiscard]] MURA_COMMON_EXPORT bool flush_folder(std::filesystem::path const& folder,
                                                   std::error_code& error);

/// Writes all of `content` to an opened file, pipe or terminal, however many calls that takes.
/// @param file   the descriptor; stays the caller's
/// @param error  set when not all was written; untouched otherwise
/// @return whether all was written; when false, a part of it may have been
[[nodiscard]] MURA_COMMON_EXPORT bool write_all(int file, std::string_view content, std::error_code& error);

}  // namespace mura_common
