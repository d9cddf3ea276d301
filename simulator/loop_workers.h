#pragma once

#include <boost/asio/any_io_executor.hpp>
#include <boost/asio/thread_pool.hpp>

namespace tavi::simulator {

/// The thread beside an event loop that does what would keep all its stations waiting; see `run_blocking`.
///
/// One for each loop, made when it is first asked for. A loop that is destroyed waits for what the thread has
/// begun.
/// @param loop  of an io_context
[[nodiscard]] boost::asio::thread_pool& find_workers(boost::asio::any_io_executor const& loop);

}  // namespace tavi::simulator
