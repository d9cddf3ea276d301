#pragma once

#include <functional>
#include <system_error>

#include <boost/asio/awaitable.hpp>
#include <boost/asio/thread_pool.hpp>

namespace tavi::http {

/// Runs what may block on a thread of its own, and goes on at the event loop with its answer.
/// @param workers  must be joined before the event loop is destroyed
/// @param job      throws nothing; what it uses must outlive the coroutine
boost::asio::awaitable<std::error_code> run_blocking(boost::asio::thread_pool& workers,
                                                     std::function<std::error_code()> job);

}  // namespace tavi::http
