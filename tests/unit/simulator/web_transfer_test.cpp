#include "web_transfer.h"

#include <chrono>
#include <exception>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include <boost/asio/co_spawn.hpp>
#include <boost/asio/io_context.hpp>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "scripted_firmware_server.h"

namespace {

using namespace tavi::simulator;
using ::testing::StartsWith;

/// Transfers from a scripted server, on one event loop, which the test itself runs.
class WebTransfer : public ::testing::Test {
 protected:
  /// A transfer, what came and how it ended.
  struct attempt {
    attempt(boost::asio::io_context& loop, station_pace const& pace) : transfer(loop.get_executor(), pace) {}
    std::string body;
    web_request request;
    std::optional<std::string> end;
    web_transfer transfer;
  };

  attempt& begin() {
    auto& next = *attempts.emplace_back(std::make_unique<attempt>(loop, pace));
    next.request.on_body = [&next](std::string_view piece) {
      next.body += piece;
      return true;
    };
    start(next);
    return next;
  }

  void start(attempt& next) {
    boost::asio::co_spawn(loop, next.transfer.run(*parse_web_location(server.url(), "http"), next.request),
                          [&next](std::exception_ptr const& error, std::string end) {
                            EXPECT_EQ(error, nullptr);
                            next.end = std::move(end);
                          });
  }

  template <typename Condition>
  [[nodiscard]] bool run_until(Condition condition) {
    auto const deadline = std::chrono::steady_clock::now() + std::chrono::seconds(60);
    loop.restart();
    while (!condition() && std::chrono::steady_clock::now() < deadline) {
      loop.run_one_until(deadline);
    }
    return condition();
  }

  static boost::asio::awaitable<void> hold(std::shared_ptr<attempt> held, std::string url) {
    auto location = *parse_web_location(url, "http");
    auto const end = co_await held->transfer.run(std::move(location), held->request);
    held->end = end;
  }

  void answer(std::string const& bytes, after_answer then = after_answer::close) {
    server.answers.push_back({bytes, then});
  }

  boost::asio::io_context loop;
  scripted_firmware_server server{loop};
  station_pace pace;
  std::vector<std::unique_ptr<attempt>> attempts;
};

TEST_F(WebTransfer, TellsStatusFieldsAndBody) {
  answer("HTTP/1.1 200 OK\r\nContent-Length: 4\r\nETag: \"a\"\r\n\r\nbody");
  auto const& got = begin();
  ASSERT_TRUE(run_until([&] { return got.end.has_value(); }));
  EXPECT_EQ(*got.end, "");
  EXPECT_EQ(got.transfer.status(), 200U);
  EXPECT_EQ(got.transfer.field("etag"), "\"a\"");
  EXPECT_EQ(got.transfer.field("Last-Modified"), "");
  EXPECT_EQ(got.body, "body");
}

TEST_F(WebTransfer, WaitsForTheAnswerBehindWhatGoesBeforeIt) {
  answer(
      "HTTP/1.1 103 Early Hints\r\nETag: \"early\"\r\n\r\nHTTP/1.1 404 Not Found\r\nContent-Length: 0\r\n\r\n");
  auto& got = begin();
  std::vector<unsigned int> told;
  got.request.on_head = [&] {
    told.push_back(got.transfer.status());
    return true;
  };
  ASSERT_TRUE(run_until([&] { return got.end.has_value(); }));
  EXPECT_EQ(got.transfer.status(), 404U);
  EXPECT_EQ(got.transfer.field("ETag"), "");
  EXPECT_THAT(told, ::testing::ElementsAre(404U));
}

TEST_F(WebTransfer, TellsNoStatusOfAHeaderThatIsCutShort) {
  answer("HTTP/1.1 200 OK\r\nContent-Len");
  auto const& got = begin();
  ASSERT_TRUE(run_until([&] { return got.end.has_value(); }));
  EXPECT_THAT(*got.end, StartsWith("the transfer broke off: "));
  EXPECT_EQ(got.transfer.status(), 0U);
}

TEST_F(WebTransfer, EndsAtOnceWhenCancelledAndSoDoesEveryLaterOne) {
  answer("HTTP/1.1 200 OK\r\nContent-Length: 20\r\n\r\n0123", after_answer::hold);
  auto& got = begin();
  ASSERT_TRUE(run_until([&] { return got.body == "0123"; }));
  got.transfer.cancel();
  ASSERT_TRUE(run_until([&] { return got.end.has_value(); }));
  EXPECT_EQ(*got.end, "the station was stopped");
  got.end.reset();
  start(got);
  ASSERT_TRUE(run_until([&] { return got.end.has_value(); }));
  EXPECT_EQ(*got.end, "the station was stopped");
  EXPECT_EQ(server.requests.size(), 1U);
}

TEST_F(WebTransfer, ManyRunBesideEachOther) {
  constexpr std::size_t many = 50;
  for (std::size_t count = 0; count < many; ++count) {
    answer("HTTP/1.1 200 OK\r\nContent-Length: 4\r\n\r\n01", after_answer::hold);
    begin();
  }
  ASSERT_TRUE(run_until([&] { return server.requests.size() == many; }));
  server.release();
  for (auto const& one : attempts) {
    ASSERT_TRUE(run_until([&] { return one->end.has_value(); }));
    EXPECT_THAT(*one->end, StartsWith("the transfer broke off: "));
    EXPECT_EQ(one->body, "01");
  }
}

TEST_F(WebTransfer, GoesWithItsLoop) {
  auto short_lived = std::make_unique<boost::asio::io_context>();
  auto own_server = std::make_unique<scripted_firmware_server>(*short_lived);
  own_server->answers.push_back({"HTTP/1.1 200 OK\r\nContent-Length: 20\r\n\r\n0123", after_answer::hold});
  auto held = std::make_shared<attempt>(*short_lived, pace);
  bool has_body = false;
  held->request.on_body = [&](std::string_view) { return has_body = true; };
  bool is_resumed = false;
  // As a station's: held by what waits on the loop, and by nobody else.
  boost::asio::co_spawn(*short_lived, hold(held, own_server->url()),
                        [&](std::exception_ptr const&) { is_resumed = true; });
  std::weak_ptr<attempt> const weak = std::exchange(held, nullptr);
  while (!has_body) {
    short_lived->run_one();
  }
  own_server.reset();
  short_lived.reset();
  EXPECT_FALSE(is_resumed);
  EXPECT_TRUE(weak.expired());
}

}  // namespace
