#include "deadline.h"

#include <array>
#include <chrono>

#include <boost/asio/buffer.hpp>
#include <boost/asio/io_context.hpp>
#include <boost/asio/ip/tcp.hpp>
#include <boost/asio/write.hpp>
#include <gtest/gtest.h>

namespace tavi::http {
namespace {

namespace asio = boost::asio;
using asio::ip::tcp;
using std::chrono::milliseconds;

constexpr auto patience = std::chrono::seconds(20);

class DeadlineTest : public testing::Test {
 protected:
  DeadlineTest() {
    tcp::acceptor acceptor(loop, tcp::endpoint(asio::ip::address_v4::loopback(), 0));
    peer.connect(acceptor.local_endpoint());
    stream.socket() = acceptor.accept();
  }

  /// Begins to read, and stops the deadline when the read has ended, as its owner does.
  void read() {
    has_ended = false;
    stream.async_read_some(asio::buffer(chunk), [this](boost::system::error_code error, std::size_t) {
      limit.stop();
      has_ended = true;
      outcome = error;
    });
  }

  template <typename predicate_type>
  bool comes_true(predicate_type predicate) {
    auto const give_up = std::chrono::steady_clock::now() + patience;
    while (!predicate() && std::chrono::steady_clock::now() < give_up) {
      loop.run_one_for(patience);
    }
    return predicate();
  }

  asio::io_context loop;
  tcp::socket peer{loop};
  boost::beast::tcp_stream stream{loop};
  deadline limit{stream};
  std::array<char, 16> chunk{};
  bool has_ended = false;
  boost::system::error_code outcome;
};

TEST_F(DeadlineTest, EndsTheOperationThatGoesOn) {
  limit.start(milliseconds(1));
  read();

  ASSERT_TRUE(comes_true([this] { return has_ended; }));

  EXPECT_EQ(outcome, asio::error::operation_aborted);
  EXPECT_TRUE(limit.is_over());
  EXPECT_TRUE(stream.socket().is_open());
}

TEST_F(DeadlineTest, EndsAnOperationThatBeginsAfterTheTimeRanOut) {
  limit.start(milliseconds(0));
  ASSERT_TRUE(comes_true([this] { return limit.is_over(); }));

  read();

  ASSERT_TRUE(comes_true([this] { return has_ended; }));
  EXPECT_EQ(outcome, asio::error::operation_aborted);
}

TEST_F(DeadlineTest, LeavesOperationsAloneOnceItIsStopped) {
  limit.start(milliseconds(0));
  ASSERT_TRUE(comes_true([this] { return limit.is_over(); }));
  limit.stop();

  read();
  asio::write(peer, asio::buffer("x", 1));

  ASSERT_TRUE(comes_true([this] { return has_ended; }));
  EXPECT_FALSE(outcome) << outcome.message();
  EXPECT_EQ(chunk[0], 'x');
  EXPECT_TRUE(limit.is_over());
  EXPECT_EQ(loop.run_for(patience), 0U) << "nothing is left to wait for";
}

TEST_F(DeadlineTest, StartedAgainItsTimeIsNotOver) {
  limit.start(milliseconds(0));
  ASSERT_TRUE(comes_true([this] { return limit.is_over(); }));

  limit.start(std::chrono::hours(1));
  read();
  asio::write(peer, asio::buffer("x", 1));

  ASSERT_TRUE(comes_true([this] { return has_ended; }));
  EXPECT_FALSE(outcome) << outcome.message();
  EXPECT_FALSE(limit.is_over());
}

}  // namespace
}  // namespace tavi::http
