#include "host.h"

#include <cstdlib>
#include <filesystem>
#include <string>
#include <system_error>
#include <utility>

#include <fmt/format.h>
#include <spdlog/spdlog.h>

namespace tavi::stations_maintenance {

namespace fs = std::filesystem;

namespace {

[[noreturn]] void end_at_once(int exit_code) {
  spdlog::default_logger()->flush();
  std::_Exit(exit_code);
}

/// The one file of which nobody else says where its example is: loading a configuration that is missing does.
constexpr auto stations_file = "supported_stations.json";

/// Where its example lies, wherever the whole was installed.
std::string place_of_example() {
  std::error_code error;
  auto const program = fs::read_symlink("/proc/self/exe", error);
  auto const installed = (program.parent_path() / EXAMPLES_FROM_PROGRAM / stations_file).lexically_normal();
  return fs::exists(installed, error) ? installed.string()
                                      : fmt::format("config/{} in this program's sources", stations_file);
}

/// Says where it can be had when it is missing.
void point_to_example(std::string const& config_dir) {
  std::error_code error;
  if (!config_dir.empty() && !fs::exists(fs::path(config_dir) / stations_file, error) && !error) {
    spdlog::info("[host] there is no {} in {}, an example is {}", stations_file, config_dir,
                 place_of_example());
  }
}

}  // namespace

void host::on_end_signal(int number) {
  if (!is_ready) {
    spdlog::info("[host] stopped by signal {} while starting", number);
    end_at_once(EXIT_SUCCESS);
  }
  if (std::exchange(is_stopping, true)) {
    spdlog::error("[host] signal {} while stopping, ending at once", number);
    end_at_once(EXIT_FAILURE);
  }
}

bool host::start(int argc, char const** argv) {
  return service.init(argc, argv) && service.start();
}

int host::run(int argc, char const** argv) {
  spdlog::info("[host] starting");
  if (!start(argc, argv)) {
    if (!mura_common::service::service::find_wrong_usage(argc, argv).empty()) {
      return wrong_usage;
    }
    point_to_example(service.config_dir());
    return EXIT_FAILURE;
  }
  is_ready = true;
  spdlog::info("[host] the service is running");
  auto const number = signals.wait();
  if (!service.stop(number)) {
    spdlog::error("[host] the service could not be stopped in order");
    return EXIT_FAILURE;
  }
  spdlog::info("[host] the service has stopped");
  return EXIT_SUCCESS;
}

}  // namespace tavi::stations_maintenance
