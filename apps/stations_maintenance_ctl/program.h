#pragma once

#include "command_line/command_line.h"
#include "commands/command_context.h"

namespace tavi::ctl {

/// Carries out what the user asked for; first makes sure that the maintenance service is there, where it is
/// needed.
[[nodiscard]] exit_code run(invocation const& invoked, i_console& console, i_clock& clock);

}  // namespace tavi::ctl
