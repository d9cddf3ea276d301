#pragma once

#include <string>

#include "command_line/command_record.h"

namespace tavi::ctl {

/// What bash loads to complete the command line.
[[nodiscard]] std::string make_bash_completion(program_record const& program);

/// As `make_bash_completion`, for zsh: the function that it loads by the name of its file.
[[nodiscard]] std::string make_zsh_completion(program_record const& program);

/// As `make_bash_completion`, for fish.
[[nodiscard]] std::string make_fish_completion(program_record const& program);

}  // namespace tavi::ctl
