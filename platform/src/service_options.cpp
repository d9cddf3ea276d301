#include "service_options.h"

#include <CLI/App.hpp>
#include <CLI/Config.hpp>
#include <CLI/Formatter.hpp>
#include <algorithm>

namespace mura_common::service {
namespace {

std::string refuse_empty(std::string const& value) {
  return value.empty() ? "expected a path, not an empty text" : "";
}

}  // namespace

std::optional<service_options> parse_service_options(std::vector<std::string> const& arguments,
                                                     std::string& error) {
  service_options options;
  CLI::App line;
  line.set_help_flag();
  line.add_option("--working-dir", options.working_dir)->check(refuse_empty);
  line.add_option("--config-dir", options.config_dir)->check(refuse_empty);
  line.add_option("--database", options.database)->check(refuse_empty);

  std::vector<std::string> from_last_to_first(arguments.rbegin(), arguments.rend());
  try {
    line.parse(std::move(from_last_to_first));
  } catch (CLI::Error const& refusal) {
    error = refusal.what();
    return std::nullopt;
  }
  return options;
}

std::string usage_line(std::string const& program) {
  return "usage: " + program + " [--working-dir DIR] [--config-dir DIR] [--database FILE]";
}

}  // namespace mura_common::service
