#pragma once

#include <chrono>
#include <optional>
#include <string>

#include "commands/options.h"

namespace tavi::ctl {

/// What the program was started with.
struct invocation {
  command_options command;     ///< what is to be done
  bool is_json = false;        ///< write JSON
  bool is_verbose = false;     ///< show the log of the libraries on standard error
  bool no_pager = false;       ///< show nothing in a pager
  std::string runtime_folder;  ///< of the services' sockets; empty when the environment decides
  std::optional<std::chrono::seconds> time_out = {};  ///< of each request to the service
};

}  // namespace tavi::ctl
