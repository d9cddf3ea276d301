#pragma once

#include <chrono>
#include <future>
#include <memory>
#include <stdexcept>
#include <utility>

#include <boost/asio/io_context.hpp>
#include <boost/asio/post.hpp>

namespace tavi::site::ocpp {

/// Waits for a result that the event loop will give.
/// @throws std::runtime_error when it does not come in time, or whatever was thrown in its place
template <typename result_type>
result_type wait_for_loop(std::future<result_type>& result, std::chrono::milliseconds patience) {
  if (result.wait_for(patience) != std::future_status::ready) {
    throw std::runtime_error("the event loop did not answer in time");
  }
  return result.get();
}

/// Runs a function on the event loop and waits for its result, from any other thread.
/// @param function  copies what it needs: it may run after the wait was given up
/// @throws as `wait_for_loop`
template <typename function_type>
auto run_on_loop(boost::asio::io_context& loop, std::chrono::milliseconds patience, function_type function) {
  auto const task = std::make_shared<std::packaged_task<decltype(function())()>>(std::move(function));
  auto result = task->get_future();
  boost::asio::post(loop, [task] { (*task)(); });
  return wait_for_loop(result, patience);
}

}  // namespace tavi::site::ocpp
