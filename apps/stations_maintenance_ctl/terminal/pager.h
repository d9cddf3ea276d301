#pragma once

#include <string>
#include <string_view>

namespace tavi::ctl {

/// The program that people read long texts in: that of the environment's PAGER, otherwise less.
/// @return a command for the shell; empty when PAGER is empty or "cat", so that nobody wants one
[[nodiscard]] std::string pager_command();

/// Lets people read a text in a program of its own, and waits until they are done. Unless the environment has
/// LESS, less is told to end by itself when everything fits, and to leave colours and the screen alone.
/// @return false when there is no such program: nothing was shown then
[[nodiscard]] bool show_in_pager(std::string const& command, std::string_view text);

}  // namespace tavi::ctl
