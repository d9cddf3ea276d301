#include "blocking_work.h"

#include <utility>

#include <boost/asio/associated_executor.hpp>
#include <boost/asio/async_result.hpp>
#include <boost/asio/executor_work_guard.hpp>
#include <boost/asio/post.hpp>
#include <boost/asio/use_awaitable.hpp>

namespace tavi::http {

namespace asio = boost::asio;

asio::awaitable<std::error_code> run_blocking(asio::thread_pool& workers,
                                              std::function<std::error_code()> job) {
  auto start = [&workers, job = std::move(job)](auto handler) mutable {
    auto const loop = asio::get_associated_executor(handler);
    // The loop has work as long as it is waited for.
    asio::post(workers, [job = std::move(job), loop, guard = asio::make_work_guard(loop),
                         handler = std::move(handler)]() mutable {
      auto const result = job();
      asio::post(loop, [handler = std::move(handler), result]() mutable { std::move(handler)(result); });
    });
  };
  asio::use_awaitable_t<> token;
  return asio::async_initiate<asio::use_awaitable_t<>, void(std::error_code)>(std::move(start), token);
}

}  // namespace tavi::http
