#pragma once

#include <cstdint>
#include <filesystem>
#include <optional>
#include <string>
#include <variant>

namespace tavi::site {

/// What the command line of a site says.
struct site_arguments {
  std::filesystem::path config;        ///< configuration file
  std::filesystem::path state_folder;  ///< of everything that the site keeps
  std::optional<std::uint16_t> port;   ///< instead of the configured one
  std::string address;                 ///< instead of the configured one; empty for that
};

/// What is to be printed instead of running a site.
struct site_exit {
  int code = 0;  ///< 0 for help and version, on the standard output; 2 for wrong usage, on the error output
  std::string text;  ///< whole lines
};

/// Understands the arguments of a site. Prints nothing and touches no file.
[[nodiscard]] std::variant<site_arguments, site_exit> parse_site_command_line(int argc,
                                                                              char const* const* argv);

}  // namespace tavi::site
