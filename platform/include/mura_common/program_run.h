#pragma once

#include <chrono>
#include <filesystem>
#include <string>
#include <vector>

#include "mura_common/export.h"

namespace mura_common {

/// Runs a program to its end, without a shell, with empty standard input and no other open file; signals act
/// on it as if this process had never blocked or ignored any. From any thread.
/// @param arguments  the program, looked for in PATH, and its arguments, passed on as they are
/// @param folder     its current directory
/// @param limit      how long it may take, at least 0; then it is killed, and with it all that it has started
///                   and that stayed in its process group
/// @return empty when it ended with 0; otherwise why it could not be started, or how it ended, the limit
///         included, and the end of what it printed. Ended means too that nobody can print for it any more:
///         what it leaves running with its output is waited for.
[[nodiscard]] MURA_COMMON_EXPORT std::string run_program(std::vector<std::string> arguments,
                                                         std::filesystem::path const& folder,
                                                         std::chrono::milliseconds limit);

}  // namespace mura_common
