#pragma once

#include <optional>
#include <string>
#include <vector>

namespace mura_common::service {

/// What a service was asked for on its command line; paths as they were given.
struct service_options {
  std::string working_dir = ".";          ///< the folder to work in
  std::optional<std::string> config_dir;  ///< absent when it is the working directory
  std::optional<std::string> database;    ///< absent when it is the file named after the service
};

/// Understands a command line. Reads nothing but its arguments.
/// @param arguments  what follows the program's name
/// @param error      why there is no result; unchanged otherwise
/// @return the options; absent when one is unknown, given twice, empty or without its value
[[nodiscard]] std::optional<service_options> parse_service_options(std::vector<std::string> const& arguments,
                                                                   std::string& error);

/// The options in one line.
/// @param program  the name that the line begins with
[[nodiscard]] std::string usage_line(std::string const& program);

}  // namespace mura_common::service
