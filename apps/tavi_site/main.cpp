#include <signal.h>

#include <exception>
#include <iostream>

#include <spdlog/cfg/env.h>
#include <spdlog/sinks/stdout_sinks.h>
#include <spdlog/spdlog.h>

#include "mura_common/program_signals.h"
#include "site.h"
#include "site_command_line.h"

namespace {

void log_to_standard_output() {
  spdlog::set_default_logger(spdlog::stdout_logger_mt("tavi_site"));
  spdlog::set_pattern("%Y-%m-%dT%H:%M:%S.%e%z %l %v");
  spdlog::flush_on(spdlog::level::trace);
  spdlog::cfg::load_env_levels();
}

}  // namespace

int main(int argc, char** argv) try {
  auto const parsed = tavi::site::parse_site_command_line(argc, argv);
  if (auto const* const end = std::get_if<tavi::site::site_exit>(&parsed)) {
    (end->code == 0 ? std::cout : std::cerr) << end->text << std::flush;
    return end->code;
  }
  auto const& given = std::get<tavi::site::site_arguments>(parsed);
  log_to_standard_output();
  mura_common::program_signals const signals(mura_common::hangup_meaning::go_on);
  signal(SIGPIPE, SIG_IGN);
  auto options = tavi::site::read_site_options(given.config);
  if (!options.has_value()) {
    return 1;
  }
  options->state_folder = given.state_folder;
  options->port = given.port.value_or(options->port);
  options->address = given.address.empty() ? options->address : given.address;
  tavi::site::site site(*options);
  if (!site.start()) {
    return 1;
  }
  spdlog::info("tavi_site is ready on {}", site.endpoint());
  static_cast<void>(signals.wait());
  return 0;
} catch (std::exception const& failure) {
  spdlog::error("[main] the site ends by an exception: {}", failure.what());
  return 1;
}
