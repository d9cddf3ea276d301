#include "host.h"

#include <atomic>
#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <future>
#include <string>
#include <system_error>
#include <thread>

#include <boost/asio/io_context.hpp>
#include <boost/asio/signal_set.hpp>
#include <spdlog/spdlog.h>

namespace tavi::stations_maintenance {

namespace fs = std::filesystem;

namespace {

/// Takes the signals of the process on a thread of its own: two end it, SIGHUP leaves a line in the log.
class stop_signals {
 public:
  stop_signals() : signals(loop, SIGINT, SIGTERM, SIGHUP) {
    take_next();
    waiter = std::thread([this] { loop.run(); });
  }
  ~stop_signals() {
    loop.stop();
    waiter.join();
  }
  stop_signals(stop_signals const&) = delete;
  stop_signals& operator=(stop_signals const&) = delete;

  /// From now on the first signal is for `wait` to take. @return the number of the signal, once it came
  [[nodiscard]] int wait() { return received.get_future().get(); }

  /// To be called when there is something to stop in order.
  void set_ready() { is_ready = true; }

 private:
  void take_next() {
    signals.async_wait([this](boost::system::error_code const& error, int number) {
      if (!error) {
        take(number);
        take_next();
      }
    });
  }

  void take(int number) {
    if (number == SIGHUP) {
      spdlog::info("[host] signal {}: there is nothing to read again while running, going on", number);
    } else if (!is_ready) {
      spdlog::info("[host] stopped by signal {} while starting", number);
      end(EXIT_SUCCESS);
    } else if (is_stopping) {
      spdlog::error("[host] signal {} while stopping, ending at once", number);
      end(EXIT_FAILURE);
    } else {
      is_stopping = true;
      received.set_value(number);
    }
  }

  [[noreturn]] static void end(int exit_code) {
    spdlog::default_logger()->flush();
    std::_Exit(exit_code);
  }

  boost::asio::io_context loop;
  boost::asio::signal_set signals;
  std::atomic<bool> is_ready = false;
  bool is_stopping = false;
  std::promise<int> received;
  std::thread waiter;
};

/// Where the example of a configuration file lies, wherever the whole was installed.
std::string place_of_example(std::string const& name) {
  std::error_code error;
  auto const program = fs::read_symlink("/proc/self/exe", error);
  auto const installed = (program.parent_path() / EXAMPLES_FROM_PROGRAM / name).lexically_normal();
  return fs::exists(installed, error) ? installed.string() : "config/" + name + " in this program's sources";
}

/// Says where a file of the configuration that is missing can be had.
void point_to_example(std::string const& config_dir, std::string const& name) {
  std::error_code error;
  if (!config_dir.empty() && !fs::exists(fs::path(config_dir) / name, error) && !error) {
    spdlog::info("[host] there is no {} in {}, an example is {}", name, config_dir, place_of_example(name));
  }
}

}  // namespace

bool host::start(int argc, char const** argv) {
  return service.init(argc, argv) && service.start();
}

int host::run(int argc, char const** argv) {
  stop_signals signals;
  spdlog::info("[host] starting");
  if (!start(argc, argv)) {
    if (!mura_common::service::service::find_wrong_usage(argc, argv).empty()) {
      return wrong_usage;
    }
    point_to_example(service.config_dir(), service.name() + ".toml");
    point_to_example(service.config_dir(), "supported_stations.json");
    return EXIT_FAILURE;
  }
  signals.set_ready();
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
