#pragma once

#include <string>
#include <variant>

#include "command_line/invocation.h"

namespace tavi::ctl {

/// Why the program ends instead of doing something.
struct early_end {
  int code = 0;      ///< 0 after --help and --version, otherwise 2
  std::string text;  ///< to be printed, with its line end: help or version, or a line that says what is wrong
};

/// Reads the command line. Prints nothing. @return what is to be done, or why the program ends
[[nodiscard]] std::variant<invocation, early_end> parse_command_line(int argc, char const* const* argv);

}  // namespace tavi::ctl
