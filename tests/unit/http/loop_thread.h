#pragma once

#include <future>
#include <thread>
#include <utility>

#include <boost/asio/executor_work_guard.hpp>
#include <boost/asio/io_context.hpp>
#include <boost/asio/post.hpp>

/// The site's event loop on a thread of its own, so that a test can be a blocking client of it.
class loop_thread {
 public:
  loop_thread() : guard(boost::asio::make_work_guard(loop)), thread([this] { loop.run(); }) {}
  ~loop_thread() { finish(); }
  loop_thread(loop_thread const&) = delete;
  loop_thread& operator=(loop_thread const&) = delete;

  /// Runs `action` on the loop and waits for its answer.
  template <typename action_type>
  auto call(action_type action) {
    std::packaged_task<decltype(action())()> task(std::move(action));
    auto answer = task.get_future();
    boost::asio::post(loop, [&task] { task(); });
    return answer.get();
  }

  /// Keeps the loop from doing anything until `resume` is called.
  void suspend() {
    std::promise<void> begun;
    boost::asio::post(loop, [&begun, resumed = resumption.get_future()] {
      begun.set_value();
      resumed.wait();
    });
    begun.get_future().wait();
  }

  /// Lets a suspended loop go on.
  void resume() { std::exchange(resumption, std::promise<void>()).set_value(); }

  /// Waits until everything that the loop was asked to do is done.
  void finish() {
    guard.reset();
    if (thread.joinable()) {
      thread.join();
    }
  }

  boost::asio::io_context loop;

 private:
  boost::asio::executor_work_guard<boost::asio::io_context::executor_type> guard;
  std::promise<void> resumption;
  std::thread thread;
};
