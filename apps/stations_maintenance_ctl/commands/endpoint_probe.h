#pragma once

#include <filesystem>
#include <string>

#include "commands/command_context.h"

namespace tavi::ctl {

/// Finds out at once whether somebody listens at a socket, without asking anything.
/// @return 0 when somebody does; otherwise the system's error: ENOENT or ECONNREFUSED when nobody does,
///         EACCES when this user may not, ENAMETOOLONG when the path is too long for a socket
[[nodiscard]] int probe_endpoint(std::filesystem::path const& socket);

/// Whether a service listens; when it does not, says so and what to do about it.
/// @param service    its name, which names its socket
/// @param extension  ".req" for its requests, ".pub" for its events
/// @param advice     how it is started
[[nodiscard]] bool is_reachable(command_context& context, std::string const& service, char const* extension,
                                char const* advice);

}  // namespace tavi::ctl
