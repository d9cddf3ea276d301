#include <exception>
#include <iostream>

#include <boost/asio/io_context.hpp>
#include <boost/asio/post.hpp>
#include <spdlog/sinks/stdout_sinks.h>
#include <spdlog/spdlog.h>

#include "mura_common/program_signals.h"
#include "simulator_command_line.h"
#include "station_fleet.h"

namespace {

void log_to_standard_output() {
  auto const logger = spdlog::stdout_logger_mt("charging_station_simulator");
  logger->set_pattern("%Y-%m-%dT%H:%M:%S.%e%z %l %v");
  logger->flush_on(spdlog::level::trace);
  spdlog::set_default_logger(logger);
}

int run_stations(tavi::simulator::simulator_settings const& settings) {
  boost::asio::io_context loop(1);
  tavi::simulator::station_fleet fleet(loop, settings.station, settings.identities);
  // The stations say goodbye when the terminal goes, too.
  mura_common::program_signals const signals(
      mura_common::hangup_meaning::end, [&](int) { boost::asio::post(loop, [&fleet] { fleet.stop(); }); });
  if (!fleet.start()) {
    return 1;
  }
  loop.run();
  return 0;
}

}  // namespace

int main(int argc, char** argv) {
  try {
    auto const parsed = tavi::simulator::parse_simulator_command_line(argc, argv);
    if (auto const* end = std::get_if<tavi::simulator::simulator_exit>(&parsed)) {
      (end->code == 0 ? std::cout : std::cerr) << end->text << '\n';
      return end->code;
    }
    log_to_standard_output();
    return run_stations(std::get<tavi::simulator::simulator_settings>(parsed));
  } catch (std::exception const& error) {
    std::cerr << "charging_station_simulator: " << error.what() << '\n';
    return 1;
  }
}
