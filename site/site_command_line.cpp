#include "site_command_line.h"

#include <vector>

#include <CLI/CLI.hpp>

#include "mura_common/text.h"

namespace tavi::site {
namespace {

constexpr auto program = "tavi_site";

constexpr auto notes =
    "Runs until SIGINT or SIGTERM.\n"
    "\n"
    "Environment:\n"
    "  TAVI_RUNTIME_DIR  folder of the services' sockets (default /run/tavi)\n"
    "  SPDLOG_LEVEL      least level that is logged: debug, info (default), warn, err\n"
    "\n"
    "Exit code: 0 after a clean stop, 1 when the site could not be run, 2 for wrong usage.\n"
    "\n"
    "Example:\n"
    "  tavi_site --config /etc/tavi/site.toml --state-dir /var/lib/tavi/site";

std::string describe_fault(CLI::App const& app, CLI::ParseError const& error) {
  auto const unknown = app.remaining(true);
  if (unknown.empty()) {
    return error.what();
  }
  std::vector<std::string> known;
  for (auto const* const option : app.get_options()) {
    known.push_back(option->get_name());
  }
  return mura_common::explain_unknown_word(unknown.front(), known);
}

}  // namespace

std::variant<site_arguments, site_exit> parse_site_command_line(int argc, char const* const* argv) {
  site_arguments given;
  std::string config;
  std::string state_folder;
  CLI::App app("The services of a charging site: OCPP 1.6-J, uploads, network and event log.", program);
  app.footer(notes);
  app.set_version_flag("--version", std::string(program) + " " + SITE_VERSION, "Print the version and end");
  app.add_option("--config", config, "Configuration file")->required();
  app.add_option("--state-dir", state_folder, "Folder of everything that the site keeps")->required();
  app.add_option("--port", given.port, "Port, overrides the configuration; 0 lets the system choose");
  app.add_option("--address", given.address, "Numeric address, overrides the configuration");
  try {
    app.parse(argc, argv);
  } catch (CLI::CallForHelp const&) {
    return site_exit{0, app.help()};
  } catch (CLI::CallForVersion const& version) {
    return site_exit{0, std::string(version.what()) + "\n"};
  } catch (CLI::ParseError const& error) {
    return site_exit{2, std::string(program) + ": " + describe_fault(app, error) + " (see --help)\n"};
  }
  given.config = config;
  given.state_folder = state_folder;
  return given;
}

}  // namespace tavi::site
