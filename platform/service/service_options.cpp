#include "service/service_options.h"

#include <utility>

#include <CLI/App.hpp>
#include <CLI/Config.hpp>
#include <CLI/Formatter.hpp>

#include "mura_common/text.h"

namespace mura_common::service {
namespace {

/// What takes a value takes the next argument, whatever it is; an option there means that the value is
/// missing.
std::string refuse_missing(std::string const& value) {
  if (value.empty()) {
    return "expected a path, found an empty text";
  }
  return value.starts_with("--") ? "expected a path, found the option " + value : "";
}

/// Explains the first word that nobody knows.
std::string explain_unknown(CLI::App const& line) {
  std::vector<std::string> known;
  for (auto const* const option : line.get_options()) {
    known.push_back(option->get_name());
  }
  return explain_unknown_word(line.remaining().front(), known);
}

}  // namespace

std::optional<service_options> parse_service_options(std::vector<std::string> const& arguments,
                                                     std::string& error) {
  service_options options;
  CLI::App line;
  line.set_help_flag();
  line.add_option("--working-dir", options.working_dir)->check(refuse_missing);
  line.add_option("--config-dir", options.config_dir)->check(refuse_missing);
  line.add_option("--database", options.database)->check(refuse_missing);

  std::vector<std::string> from_last_to_first(arguments.rbegin(), arguments.rend());
  try {
    line.parse(std::move(from_last_to_first));
  } catch (CLI::ExtrasError const&) {
    error = explain_unknown(line);
    return std::nullopt;
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
