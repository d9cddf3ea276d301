#pragma once

#include <string>
#include <variant>
#include <vector>

#include "station_options.h"

namespace tavi::simulator {

/// What the simulator was started with.
struct simulator_settings {
  station_options station;              ///< what the stations have in common; its work folder holds theirs
  std::vector<std::string> identities;  ///< one for each station, at least one
};

/// Why the program ends instead of running.
struct simulator_exit {
  int code = 0;      ///< 0 after --help and --version, otherwise 2
  std::string text;  ///< to be printed: the help, the version, or one line that says what is wrong
};

/// Reads the command line. Prints nothing. @return the settings, or why the program ends
[[nodiscard]] std::variant<simulator_settings, simulator_exit> parse_simulator_command_line(
    int argc, char const* const* argv);

}  // namespace tavi::simulator
