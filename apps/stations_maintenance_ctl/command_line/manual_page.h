#pragma once

#include <string>

#include "command_line/command_record.h"

namespace tavi::ctl {

/// The manual page, in the language of man(7).
/// @param version  of the program
[[nodiscard]] std::string make_manual_page(program_record const& program, std::string const& version);

}  // namespace tavi::ctl
