#pragma once

#include <boost/asio/any_io_executor.hpp>
#include <boost/asio/awaitable.hpp>

namespace tavi::simulator {

/// Runs a coroutine beside its caller; an exception that escapes it is logged and goes no further.
void spawn_task(boost::asio::any_io_executor const& executor, boost::asio::awaitable<void> task);

}  // namespace tavi::simulator
