#include <algorithm>
#include <csignal>
#include <string_view>

#include <fmt/core.h>
#include <spdlog/cfg/env.h>
#include <spdlog/sinks/stdout_sinks.h>
#include <spdlog/spdlog.h>

#include "host.h"

namespace {

void log_to_standard_output() {
  auto logger = spdlog::stdout_logger_mt("stations_maintenance_host");
  logger->set_pattern("%Y-%m-%dT%H:%M:%S.%e%z %l %v");
  logger->flush_on(spdlog::level::trace);
  spdlog::set_default_logger(std::move(logger));
  spdlog::cfg::load_env_levels();
}

bool is_asking_for_help(std::string_view argument) {
  return argument == "--help" || argument == "-h";
}

bool is_asking_for_version(std::string_view argument) {
  return argument == "--version";
}

void print_help() {
  fmt::print(
      "Runs the stations maintenance service until SIGINT or SIGTERM.\n\n{}"
      "  --version          tell the version and end\n\n"
      "Configuration directory: stations_maintenance_service.toml, supported_stations.json\n\n"
      "Environment:\n"
      "  TAVI_RUNTIME_DIR  folder of the services' sockets (default /run/tavi)\n"
      "  SPDLOG_LEVEL      least level that is logged: debug, info (default), warn, err\n\n"
      "Exit code: 0 after a clean stop, 1 when a step failed, 2 when an option is wrong; the log's last lines\n"
      "say which.\n\n"
      "Example:\n"
      "  stations_maintenance_host --working-dir /var/lib/tavi/stations --config-dir /etc/tavi\n",
      mura_common::service::service::usage("stations_maintenance_host"));
}

}  // namespace

int main(int argc, char const** argv) {
  if (std::any_of(argv + 1, argv + argc, is_asking_for_help)) {
    print_help();
    return 0;
  }
  if (std::any_of(argv + 1, argv + argc, is_asking_for_version)) {
    fmt::print("stations_maintenance_host {}\n", STATIONS_MAINTENANCE_VERSION);
    return 0;
  }
  log_to_standard_output();
  // Whoever reads the log may go away; that must not end the service.
  std::signal(SIGPIPE, SIG_IGN);
  tavi::stations_maintenance::host host;
  return host.run(argc, argv);
}
