#include <signal.h>

#include <exception>
#include <string>

#include <CLI/CLI.hpp>
#include <spdlog/cfg/env.h>
#include <spdlog/sinks/stdout_sinks.h>
#include <spdlog/spdlog.h>

#include "site.h"

namespace {

void log_to_standard_output() {
  spdlog::set_default_logger(spdlog::stdout_logger_mt("tavi_site"));
  spdlog::set_pattern("%Y-%m-%dT%H:%M:%S.%e%z %l %v");
  spdlog::flush_on(spdlog::level::trace);
  spdlog::cfg::load_env_levels();
}

}  // namespace

int main(int argc, char** argv) try {
  CLI::App app("The services of a charging site: OCPP 1.6-J, uploads, network and event log.", "tavi_site");
  std::string config, state_folder, address;
  unsigned short port = 0;
  app.add_option("--config", config, "Configuration file")->required();
  app.add_option("--state-dir", state_folder, "Folder of everything that the site keeps")->required();
  auto const* const port_option = app.add_option("--port", port, "Port, overrides the configuration");
  app.add_option("--address", address, "Numeric address, overrides the configuration");
  CLI11_PARSE(app, argc, argv);
  log_to_standard_output();
  // Blocked before the first thread exists, so that every thread leaves them to `sigwait`.
  sigset_t end_signals;
  sigemptyset(&end_signals);
  sigaddset(&end_signals, SIGINT);
  sigaddset(&end_signals, SIGTERM);
  pthread_sigmask(SIG_BLOCK, &end_signals, nullptr);
  signal(SIGPIPE, SIG_IGN);
  auto options = tavi::site::read_site_options(config);
  if (!options.has_value()) {
    return 1;
  }
  options->state_folder = state_folder;
  options->port = *port_option ? port : options->port;
  options->address = address.empty() ? options->address : address;
  tavi::site::site site(*options);
  if (!site.start()) {
    return 1;
  }
  spdlog::info("tavi_site is ready on {}", site.endpoint());
  int signal_number = 0;
  sigwait(&end_signals, &signal_number);
  return 0;
} catch (std::exception const& failure) {
  spdlog::error("[main] the site ends by an exception: {}", failure.what());
  return 1;
}
