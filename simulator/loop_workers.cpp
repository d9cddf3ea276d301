#include "loop_workers.h"

#include <boost/asio/execution/context.hpp>
#include <boost/asio/execution_context.hpp>
#include <boost/asio/query.hpp>

namespace tavi::simulator {
namespace {

namespace asio = boost::asio;

/// Belongs to the loop, because its thread hands its results to the loop and must have ended before it.
class loop_workers : public asio::execution_context::service {
 public:
  using key_type = loop_workers;
  inline static asio::execution_context::id id;

  explicit loop_workers(asio::execution_context& loop) : service(loop) {}

  asio::thread_pool threads{1};

 private:
  void shutdown() override { threads.join(); }
};

}  // namespace

asio::thread_pool& find_workers(asio::any_io_executor const& loop) {
  return asio::use_service<loop_workers>(asio::query(loop, asio::execution::context)).threads;
}

}  // namespace tavi::simulator
