#include "spawn_task.h"

#include <exception>
#include <utility>

#include <boost/asio/co_spawn.hpp>
#include <spdlog/spdlog.h>

namespace tavi::simulator {
namespace {

void log_escaped(std::exception_ptr const& escaped) {
  if (!escaped) {
    return;
  }
  try {
    std::rethrow_exception(escaped);
  } catch (std::exception const& error) {
    spdlog::error("[simulated_station] a task ended with an exception: {}", error.what());
  } catch (...) {
    spdlog::error("[simulated_station] a task ended with an exception of unknown type");
  }
}

}  // namespace

void spawn_task(boost::asio::any_io_executor const& executor, boost::asio::awaitable<void> task) {
  boost::asio::co_spawn(executor, std::move(task),
                        [](std::exception_ptr const& escaped) { log_escaped(escaped); });
}

}  // namespace tavi::simulator
