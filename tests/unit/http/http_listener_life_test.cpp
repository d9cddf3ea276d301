#include <sys/resource.h>

#include <chrono>
#include <future>
#include <memory>
#include <thread>

#include <boost/asio/buffer.hpp>
#include <boost/asio/post.hpp>
#include <boost/asio/write.hpp>
#include <gtest/gtest.h>

#include "http_listener_fixture.h"
#include "raw_client.h"
#include "sanitizer.h"

namespace tavi::http {
namespace {

namespace asio = boost::asio;

TEST(HttpListenerLifeTest, LoopCanBeDestroyedInTheMiddleOfRequests) {
  log_capture log;
  auto loop = std::make_unique<asio::io_context>();
  auto listener = std::make_unique<http_listener>(*loop, small_limits());
  ASSERT_TRUE(listener->start("127.0.0.1", 0));
  raw_client half(listener->port());
  half.send("GET /a");
  raw_client silent(listener->port());
  loop->poll();

  listener.reset();
  loop.reset();

  EXPECT_EQ(half.read_to_end(), "");
  EXPECT_EQ(silent.read_to_end(), "");
}

TEST(HttpListenerLifeTest, StreamMovedAwayByARouteOutlivesTheListener) {
  log_capture log;
  loop_thread site;
  std::promise<boost::beast::tcp_stream> moved;
  auto listener = std::make_unique<http_listener>(site.loop, small_limits());
  listener->add_route("/keep", [&](http_exchange& exchange) -> asio::awaitable<bool> {
    moved.set_value(std::move(exchange.stream));
    co_return false;
  });
  ASSERT_TRUE(site.call([&] { return listener->start("127.0.0.1", 0); }));
  raw_client client(listener->port());
  client.send("GET /keep HTTP/1.1\r\nHost: site\r\n\r\n");
  auto stream = moved.get_future().get();

  site.call([&] { listener.reset(); });
  site.call([&] { return asio::write(stream, asio::buffer("still here", 10)); });

  EXPECT_TRUE(client.receive_until("still here"));
  site.call([&] { stream.close(); });
}

/// The number of descriptors that the process may open, put back afterwards.
class descriptor_limit {
 public:
  descriptor_limit() { getrlimit(RLIMIT_NOFILE, &before); }
  ~descriptor_limit() { restore(); }
  descriptor_limit(descriptor_limit const&) = delete;
  descriptor_limit& operator=(descriptor_limit const&) = delete;

  void allow_none_more() const {
    auto changed = before;
    changed.rlim_cur = 1;
    setrlimit(RLIMIT_NOFILE, &changed);
  }
  void restore() const { setrlimit(RLIMIT_NOFILE, &before); }

 private:
  rlimit before{};
};

TEST(HttpListenerLifeTest, RunsOnAfterTheProcessWasOutOfDescriptors) {
  if (is_sanitizer_in_need_of_descriptors) {
    GTEST_SKIP() << "the sanitizer needs the descriptors that this situation lacks";
  }
  log_capture log;
  asio::io_context loop;
  http_listener listener(loop, small_limits());
  listener.add_route("/a/", answer_with("route a"));
  ASSERT_TRUE(listener.start("127.0.0.1", 0));
  raw_client client;
  descriptor_limit limit;
  limit.allow_none_more();
  client.connect(listener.port());
  client.send("GET /a/ HTTP/1.1\r\nHost: site\r\nConnection: close\r\n\r\n");
  client.finish_sending();

  auto const give_up = std::chrono::steady_clock::now() + std::chrono::seconds(20);
  auto const is_late = [&] { return std::chrono::steady_clock::now() > give_up; };
  while (!log.holds(spdlog::level::err, "cannot accept connections at present: Too many open files") &&
         !is_late()) {
    loop.run_one_for(std::chrono::milliseconds(100));
  }
  // A few more failures: they pause, and add no lines.
  for (auto turn = 0; turn < 6; ++turn) {
    loop.run_one_for(std::chrono::milliseconds(100));
  }
  EXPECT_EQ(log.lines().size(), 2U);
  limit.restore();
  auto is_answered = false;
  std::thread reader([&] {
    is_answered = status_of(client.read_to_end()) == 200;
    asio::post(loop, [&] { loop.stop(); });
  });
  loop.run();
  reader.join();

  EXPECT_TRUE(is_answered);
}

}  // namespace
}  // namespace tavi::http
