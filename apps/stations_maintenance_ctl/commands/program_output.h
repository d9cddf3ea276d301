#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <vector>

namespace tavi::ctl {

/// What a program writes to its standard output, which is run without a shell, with nothing to read and
/// nowhere to complain to. Signals that end this process from the terminal end it too.
/// @param arguments  the program, looked for in PATH, and its arguments
/// @param most       bytes to be read; a program that writes more is ended
/// @return empty when it could not be started, or ended with another code than 0; what it wrote until then
/// otherwise
[[nodiscard]] std::optional<std::string> output_of(std::vector<std::string> arguments, std::size_t most);

}  // namespace tavi::ctl
