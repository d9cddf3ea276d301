#include "http_listener.h"

#include <array>
#include <chrono>
#include <memory>
#include <mutex>
#include <ostream>
#include <stdexcept>
#include <string>

#include <boost/asio/buffer.hpp>
#include <boost/asio/redirect_error.hpp>
#include <boost/asio/steady_timer.hpp>
#include <boost/asio/use_awaitable.hpp>
#include <boost/asio/write.hpp>
#include <gtest/gtest.h>
#include <spdlog/sinks/base_sink.h>

#include "http_date.h"
#include "http_listener_fixture.h"
#include "raw_client.h"

namespace tavi::http {
namespace {

namespace asio = boost::asio;
namespace beast_http = boost::beast::http;

struct refusal {
  char const* situation;
  std::string request;
  int status;
};

void PrintTo(refusal const& row, std::ostream* out) {
  *out << row.situation;
}

class HttpListenerRefusalTest : public HttpListenerTest, public testing::WithParamInterface<refusal> {};

TEST_P(HttpListenerRefusalTest, AnswersAndClosesWithoutReset) {
  start();
  raw_client client(port);

  client.send(GetParam().request);
  client.finish_sending();

  EXPECT_EQ(status_of(client.read_to_end()), GetParam().status);
  EXPECT_EQ(client.end, connection_end::closed);
}

INSTANTIATE_TEST_SUITE_P(
    Situations, HttpListenerRefusalTest,
    testing::Values(
        refusal{"no route", "GET /b HTTP/1.1\r\nHost: site\r\n\r\n", 404},
        refusal{"prefix without its last slash", "GET /a HTTP/1.1\r\nHost: site\r\n\r\n", 404},
        refusal{"no route in absolute form", "GET http://site/b HTTP/1.1\r\nHost: site\r\n\r\n", 404},
        refusal{"no host", "GET /a/ HTTP/1.1\r\nAccept: */*\r\n\r\n", 400},
        refusal{"no host beside an absolute target", "GET http://site/a/ HTTP/1.1\r\n\r\n", 400},
        refusal{"two hosts", "GET /a/ HTTP/1.1\r\nHost: site\r\nHost: other\r\n\r\n", 400},
        refusal{"no route, with a body that nobody reads",
                "PUT /b HTTP/1.1\r\nHost: site\r\nContent-Length: 300000\r\n\r\n" + std::string(300000, 'x'),
                404},
        refusal{"no HTTP at all", "hello, is this the upload server?\r\n\r\n", 400},
        refusal{"bytes of TLS", std::string("\x16\x03\x01\x02\x00\x01\x00\x01\xfc\x03\x03", 11), 400},
        refusal{"unknown version", "GET /a/ HTTP/3.7\r\n\r\n", 400},
        refusal{"two lengths",
                "PUT /a/ HTTP/1.1\r\nHost: site\r\nContent-Length: 1\r\nContent-Length: 2\r\n\r\n", 400},
        refusal{"length that is no number", "PUT /a/ HTTP/1.1\r\nHost: site\r\nContent-Length: many\r\n\r\n",
                400},
        refusal{"length beyond 64 bits",
                "PUT /a/ HTTP/1.1\r\nHost: site\r\nContent-Length: 99999999999999999999999\r\n\r\n", 400},
        refusal{"length and chunks",
                "PUT /a/ HTTP/1.1\r\nHost: site\r\nContent-Length: 1\r\nTransfer-Encoding: chunked\r\n\r\n",
                400},
        refusal{"one field over the limit",
                "GET /a/ HTTP/1.1\r\nHost: site\r\nX: " + std::string(3000, 'x') + "\r\n\r\n", 431},
        refusal{"target over the limit",
                "GET /a/" + std::string(3000, 'x') + " HTTP/1.1\r\nHost: site\r\n\r\n", 431}));

TEST_F(HttpListenerTest, LongestMatchingPrefixWins) {
  start();
  raw_client client(port);

  client.send("GET /a/longer/x HTTP/1.1\r\nHost: site\r\n\r\n");
  EXPECT_NE(client.read_answer().find("route longer"), std::string::npos);
  client.send("GET /a/short HTTP/1.1\r\nHost: site\r\n\r\n");
  EXPECT_NE(client.read_answer().find("route a"), std::string::npos);
}

TEST_F(HttpListenerTest, RoutesSeeOfAnAbsoluteTargetItsPathAndQuery) {
  start();
  site.call([&] {
    listener->add_route("/told", [](http_exchange& exchange) -> asio::awaitable<bool> {
      http_answer answer;
      answer.text = std::string(exchange.parser.get().target());
      co_return co_await send_answer(exchange, answer);
    });
  });
  raw_client client(port);

  client.send("GET http://other:80/told/x?y HTTP/1.1\r\nHost: site\r\n\r\n");

  auto const answer = client.read_answer();
  EXPECT_EQ(status_of(answer), 200);
  EXPECT_TRUE(answer.ends_with("\r\n\r\n/told/x?y\n")) << answer;
}

TEST_F(HttpListenerTest, OldRequestNeedsNoHost) {
  start();
  raw_client client(port);
  client.send("GET /a/ HTTP/1.0\r\n\r\n");
  EXPECT_TRUE(client.read_to_end().starts_with("HTTP/1.0 200 "));
}

/// Whether an answer to a request of this moment tells its date.
bool has_date(std::string const& answer, std::chrono::system_clock::time_point asked) {
  constexpr std::chrono::seconds step(1);
  for (auto moment = asked; moment < std::chrono::system_clock::now() + step; moment += step) {
    if (answer.find("\r\nDate: " + to_http_date(moment) + "\r\n") != std::string::npos) {
      return true;
    }
  }
  return false;
}

TEST_F(HttpListenerTest, EveryAnswerTellsItsDate) {
  start();
  for (auto const* request :
       {"GET /a/ HTTP/1.1\r\nHost: site\r\n\r\n", "GET /b HTTP/1.1\r\nHost: site\r\n\r\n",
        "HEAD /a/ HTTP/1.0\r\n\r\n", "hello\r\n\r\n"}) {
    raw_client client(port);
    auto const asked = std::chrono::system_clock::now();
    client.send(request);
    ASSERT_TRUE(client.receive_until("\r\n\r\n")) << request;
    EXPECT_TRUE(has_date(client.received, asked)) << client.received;
  }
}

TEST_F(HttpListenerTest, LastAnswerEndsAConnectionThatTheRequestWouldKeep) {
  start();
  site.call([&] {
    listener->add_route("/full", [](http_exchange& exchange) -> asio::awaitable<bool> {
      http_answer answer;
      answer.status = beast_http::status::service_unavailable;
      answer.retry_after = std::chrono::seconds(7);
      answer.is_last = true;
      co_return co_await send_answer(exchange, answer);
    });
  });
  raw_client client(port);

  client.send("GET /full HTTP/1.1\r\nHost: site\r\n\r\n");
  client.receive_until("\r\n\r\n");
  client.finish_sending();

  auto const answer = client.read_to_end();
  EXPECT_EQ(status_of(answer), 503);
  EXPECT_NE(answer.find("\r\nRetry-After: 7\r\n"), std::string::npos);
  EXPECT_NE(answer.find("\r\nConnection: close\r\n"), std::string::npos);
  EXPECT_EQ(client.end, connection_end::closed);
}

TEST_F(HttpListenerTest, PipelinedRequestsAreAnsweredInTheirOrder) {
  start();
  raw_client client(port);

  client.send(
      "GET /a/ HTTP/1.1\r\nHost: site\r\n\r\nGET /nowhere HTTP/1.1\r\nHost: site\r\n\r\nGET /a/longer/ "
      "HTTP/1.1\r\nHost: site\r\n\r\n");

  EXPECT_NE(client.read_answer().find("route a"), std::string::npos);
  EXPECT_EQ(status_of(client.read_answer()), 404);
  EXPECT_NE(client.read_answer().find("route longer"), std::string::npos);
}

TEST_F(HttpListenerTest, ConnectionClosesWhenTheRequestAsksForIt) {
  start();
  raw_client client(port);

  client.send("GET /a/ HTTP/1.1\r\nHost: site\r\nConnection: close\r\n\r\n");

  auto const answer = client.read_to_end();
  EXPECT_EQ(status_of(answer), 200);
  EXPECT_NE(answer.find("Connection: close"), std::string::npos);
}

TEST_F(HttpListenerTest, HeadIsAnsweredWithoutABody) {
  start();
  raw_client client(port);

  client.send("HEAD /a/ HTTP/1.1\r\nHost: site\r\nConnection: close\r\n\r\n");

  auto const answer = client.read_to_end();
  EXPECT_EQ(status_of(answer), 200);
  EXPECT_NE(answer.find("Content-Length: 8\r\n"), std::string::npos);
  EXPECT_TRUE(answer.ends_with("\r\n\r\n"));
}

TEST_F(HttpListenerTest, HalfAHeaderIsAnsweredWhenItsTimeIsOver) {
  auto limits = small_limits();
  limits.header_time = std::chrono::milliseconds(50);
  start(limits);
  raw_client client(port);

  client.send("GET /a/ HTTP/1.1\r\nHos");

  EXPECT_EQ(status_of(client.read_to_end()), 408);
  EXPECT_EQ(client.end, connection_end::closed);
}

TEST_F(HttpListenerTest, HeadersThatComeWhileTheirTimeRunsOutAreAnswered) {
  auto limits = small_limits();
  limits.header_time = std::chrono::milliseconds(50);
  start(limits);
  std::array<std::unique_ptr<raw_client>, 6> clients;
  for (auto& client : clients) {
    client = std::make_unique<raw_client>(port);
    client->send("GET /a/ HTTP/1.1\r\nHost: site\r\n\r\n");
    ASSERT_EQ(status_of(client->read_answer()), 200);
    client->send("GET /a/ HTTP/1.1\r\nHost: site\r\nX: ");
  }
  // What came by the end of the time takes more than one read, and the time is over between two of them.
  site.suspend();
  for (auto const& client : clients) {
    client->send(std::string(1000, 'x'));
  }
  EXPECT_FALSE(clients[0]->has_bytes_within(2 * limits.header_time));
  site.resume();

  for (auto const& client : clients) {
    EXPECT_EQ(status_of(client->read_to_end()), 408);
    EXPECT_EQ(client->end, connection_end::closed);
  }
}

TEST_F(HttpListenerTest, SilentConnectionIsClosedWithoutAnAnswer) {
  auto limits = small_limits();
  limits.header_time = std::chrono::milliseconds(50);
  start(limits);
  raw_client client(port);

  EXPECT_EQ(client.read_to_end(), "");
  EXPECT_EQ(client.end, connection_end::closed);
}

TEST_F(HttpListenerTest, ConnectionsOverTheLimitAreClosedUntilAnotherOneEnds) {
  auto limits = small_limits();
  limits.connections = 1;
  start(limits);
  raw_client first(port);
  first.send("GET /a/ HTTP/1.1\r\nHost: site\r\n\r\n");
  ASSERT_EQ(status_of(first.read_answer()), 200);

  raw_client second(port);
  EXPECT_EQ(second.read_to_end(), "");
  EXPECT_TRUE(log.holds(spdlog::level::warn, "1 connections are open"));

  first.send("GET /a/ HTTP/1.1\r\nHost: site\r\nConnection: close\r\n\r\n");
  EXPECT_EQ(status_of(first.read_to_end()), 200);
  // The loop finishes with the first connection after the peer has seen it end.
  first.close();
  site.call([] {});
  auto status = 0;
  for (auto attempt = 0; attempt < 1000 && status == 0; ++attempt) {
    raw_client third(port);
    third.send("GET /a/ HTTP/1.1\r\nHost: site\r\n\r\n");
    status = status_of(third.read_answer());
  }
  EXPECT_EQ(status, 200);
}

TEST_F(HttpListenerTest, ConnectionThatARouteMovedAwayTakesNoPlace) {
  auto limits = small_limits();
  limits.connections = 1;
  start(limits);
  std::unique_ptr<boost::beast::tcp_stream> moved;
  asio::steady_timer farewell(site.loop, std::chrono::hours(1));
  site.call([&] {
    listener->add_route("/keep", [&](http_exchange& exchange) -> asio::awaitable<bool> {
      moved = std::make_unique<boost::beast::tcp_stream>(std::move(exchange.stream));
      asio::write(*moved, asio::buffer("kept", 4));
      boost::system::error_code ignored;
      co_await farewell.async_wait(asio::redirect_error(asio::use_awaitable, ignored));
      co_return false;
    });
  });
  raw_client station(port);
  station.send("GET /keep HTTP/1.1\r\nHost: site\r\n\r\n");
  ASSERT_TRUE(station.receive_until("kept"));

  raw_client client(port);
  client.send("GET /a/ HTTP/1.1\r\nHost: site\r\n\r\n");
  EXPECT_EQ(status_of(client.read_answer()), 200);
  raw_client further(port);
  EXPECT_EQ(further.read_to_end(), "") << "the one place is taken now";

  site.call([&] {
    farewell.cancel();
    moved.reset();
  });
}

/// Fails whenever something is said at the level of warnings.
class failing_sink : public spdlog::sinks::base_sink<std::mutex> {
 protected:
  void sink_it_(spdlog::details::log_msg const& message) override {
    if (message.level == spdlog::level::warn) {
      throw std::runtime_error("a fault of the log");
    }
  }
  void flush_() override {}
};

TEST_F(HttpListenerTest, ExceptionWhileAConnectionIsOpenedDoesNotEndAccepting) {
  spdlog::default_logger()->sinks().push_back(std::make_shared<failing_sink>());
  spdlog::default_logger()->set_error_handler(
      [](std::string const& text) { throw std::runtime_error(text); });
  auto limits = small_limits();
  limits.connections = 1;
  start(limits);
  auto first = std::make_unique<raw_client>(port);
  first->send("GET /a/ HTTP/1.1\r\nHost: site\r\n\r\n");
  ASSERT_EQ(status_of(first->read_answer()), 200);
  raw_client second(port);
  EXPECT_EQ(second.read_to_end(), "");

  first.reset();

  auto status = 0;
  for (auto attempt = 0; attempt < 1000 && status == 0; ++attempt) {
    raw_client third(port);
    third.send("GET /a/ HTTP/1.1\r\nHost: site\r\n\r\n");
    status = status_of(third.read_answer());
  }
  EXPECT_EQ(status, 200);
  EXPECT_TRUE(log.holds(spdlog::level::err, "could not be opened: a fault of the log"));
}

TEST_F(HttpListenerTest, ExceptionOfARouteEndsItsConnectionOnly) {
  start();
  raw_client unlucky(port);
  unlucky.send("GET /throws/ HTTP/1.1\r\nHost: site\r\n\r\n");
  EXPECT_EQ(unlucky.read_to_end(), "");
  EXPECT_TRUE(log.holds(spdlog::level::err, "a fault of the route"));

  raw_client client(port);
  client.send("GET /a/ HTTP/1.1\r\nHost: site\r\n\r\n");
  EXPECT_EQ(status_of(client.read_answer()), 200);
}

TEST_F(HttpListenerTest, StopClosesOpenConnections) {
  start();
  raw_client client(port);
  client.send("GET /a/ HTTP/1.1\r\nHost: site\r\n\r\n");
  ASSERT_EQ(status_of(client.read_answer()), 200);

  site.call([&] { listener->stop(); });

  EXPECT_EQ(client.read_to_end(), "");
  EXPECT_EQ(listener->port(), 0);
  EXPECT_THROW(raw_client late(port), std::runtime_error);
}

TEST_F(HttpListenerTest, AddressInUseIsLoggedWithItsReason) {
  start();
  http_listener second(site.loop, small_limits());

  EXPECT_FALSE(site.call([&] { return second.start("127.0.0.1", port); }));

  EXPECT_TRUE(log.holds(spdlog::level::err,
                        "address 127.0.0.1, port " + std::to_string(port) + ": Address already in use"));
}

TEST_F(HttpListenerTest, AddressThatIsNoneIsLoggedWithItsReason) {
  http_listener wrong(site.loop, small_limits());

  EXPECT_FALSE(site.call([&] { return wrong.start("the charging site", 80); }));

  EXPECT_TRUE(log.holds(spdlog::level::err, "address the charging site, port 80: Invalid argument"));
}

}  // namespace
}  // namespace tavi::http
