#include "host.h"

#include <atomic>
#include <csignal>
#include <cstdlib>
#include <future>
#include <thread>

#include <boost/asio/io_context.hpp>
#include <boost/asio/signal_set.hpp>
#include <spdlog/spdlog.h>

namespace tavi::stations_maintenance {

namespace {

/// Waits for the signals that end the process, on a thread of its own.
class stop_signals {
 public:
  stop_signals() : signals(loop, SIGINT, SIGTERM) {
    signals.async_wait([this](boost::system::error_code const& error, int number) {
      if (!error) {
        on_first_signal(number);
      }
    });
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
  void on_first_signal(int number) {
    if (!is_ready) {
      spdlog::info("[host] stopped by signal {} while starting", number);
      spdlog::default_logger()->flush();
      std::_Exit(EXIT_SUCCESS);
    }
    received.set_value(number);
    signals.async_wait([](boost::system::error_code const& error, int second) {
      if (!error) {
        spdlog::error("[host] signal {} while stopping, ending at once", second);
        spdlog::default_logger()->flush();
        std::_Exit(EXIT_FAILURE);
      }
    });
  }

  boost::asio::io_context loop;
  boost::asio::signal_set signals;
  std::atomic<bool> is_ready = false;
  std::promise<int> received;
  std::thread waiter;
};

}  // namespace

bool host::start(int argc, char const** argv) {
  return service.init(argc, argv) && service.start();
}

int host::run(int argc, char const** argv) {
  stop_signals signals;
  spdlog::info("[host] starting");
  if (!start(argc, argv)) {
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
