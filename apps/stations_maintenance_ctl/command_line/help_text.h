#pragma once

#include <string>

#include "command_line/command_record.h"

namespace tavi::ctl {

/// What --help of the program says behind its options and commands.
[[nodiscard]] std::string help_footer(program_record const& program);

/// What --help of a command says behind its options: its details and its examples.
[[nodiscard]] std::string help_footer(command_record const& command);

}  // namespace tavi::ctl
