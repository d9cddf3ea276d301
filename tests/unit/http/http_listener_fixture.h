#pragma once

#include <chrono>
#include <cstdint>
#include <memory>
#include <stdexcept>
#include <string>

#include <gtest/gtest.h>

#include "http_answer.h"
#include "http_listener.h"
#include "log_capture.h"
#include "loop_thread.h"

namespace tavi::http {

/// A route that says always the same.
inline http_route answer_with(std::string const& text) {
  return [text](http_exchange& exchange) -> boost::asio::awaitable<bool> {
    http_answer answer;
    answer.text = text;
    co_return co_await send_answer(exchange, answer);
  };
}

/// Limits that a test can reach.
inline http_limits small_limits() {
  http_limits limits;
  limits.header_bytes = 2048;
  limits.accept_pause = std::chrono::milliseconds(5);
  return limits;
}

/// A listener with two routes that answer and one that fails, on a port of its own.
class HttpListenerTest : public testing::Test {
 protected:
  void start(http_limits const& limits = small_limits()) {
    site.call([&] {
      listener = std::make_unique<http_listener>(site.loop, limits);
      listener->add_route("/a/", answer_with("route a"));
      listener->add_route("/a/longer/", answer_with("route longer"));
      listener->add_route("/throws/", [](http_exchange&) -> boost::asio::awaitable<bool> {
        throw std::runtime_error("a fault of the route");
        co_return true;
      });
      return listener->start("127.0.0.1", 0);
    });
    port = listener->port();
    ASSERT_NE(port, 0);
  }

  void TearDown() override {
    if (listener) {
      site.call([&] { listener.reset(); });
    }
    site.finish();
  }

  log_capture log;
  loop_thread site;
  std::unique_ptr<http_listener> listener;
  std::uint16_t port = 0;
};

}  // namespace tavi::http
