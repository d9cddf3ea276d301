#include "call_queue.h"

#include <exception>
#include <string>
#include <utility>
#include <vector>

#include <boost/asio/co_spawn.hpp>
#include <boost/asio/io_context.hpp>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace tavi::ocpp_wire {
namespace {

using namespace std::chrono_literals;
using nlohmann::json;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

/// A queue on an event loop that the test itself runs; what it sends and how its calls end is kept.
class CallQueue : public ::testing::Test {
 protected:
  void call(std::string const& action) {
    boost::asio::co_spawn(loop, queue.call(action, json::object()),
                          [this, action](std::exception_ptr const& error, call_outcome outcome) {
                            EXPECT_EQ(error, nullptr);
                            ended.emplace_back(action, std::move(outcome));
                          });
    poll();
  }

  void poll() {
    loop.restart();
    loop.poll();
  }

  /// Runs the loop until nothing waits any more.
  void run() {
    loop.restart();
    loop.run_for(60s);
  }

  boost::asio::io_context loop;
  std::vector<std::string> sent;
  std::vector<std::pair<std::string, call_outcome>> ended;
  call_queue queue{loop.get_executor(), 1h, [this](std::string frame) { sent.push_back(std::move(frame)); }};
};

TEST_F(CallQueue, SendsACallAndGivesItsAnswer) {
  call("Heartbeat");
  EXPECT_THAT(sent, ElementsAre(R"([2,"1","Heartbeat",{}])"));
  EXPECT_THAT(ended, IsEmpty());
  EXPECT_TRUE(queue.on_answer("1", {call_end::answered, {{"a", 7}}}));
  run();
  ASSERT_EQ(ended.size(), 1U);
  EXPECT_EQ(ended[0].second.end, call_end::answered);
  EXPECT_EQ(ended[0].second.payload, json({{"a", 7}}));
}

TEST_F(CallQueue, SendsTheNextCallOnlyWhenTheOneInFlightHasEnded) {
  call("First");
  call("Second");
  call("Third");
  EXPECT_EQ(sent.size(), 1U);
  EXPECT_TRUE(queue.on_answer("1", {call_end::refused, {}}));
  poll();
  EXPECT_THAT(sent, ElementsAre(R"([2,"1","First",{}])", R"([2,"2","Second",{}])"));
  EXPECT_TRUE(queue.on_answer("2", {call_end::answered, {}}));
  EXPECT_TRUE(queue.on_answer("3", {call_end::answered, {}}));
  run();
  ASSERT_EQ(ended.size(), 3U);
  EXPECT_EQ(ended[0].first, "First");
  EXPECT_EQ(ended[0].second.end, call_end::refused);
  EXPECT_EQ(ended[2].first, "Third");
}

TEST_F(CallQueue, TakesNoAnswerThatNoCallInFlightWaitsFor) {
  EXPECT_FALSE(queue.on_answer("1", {call_end::answered, {}}));
  call("First");
  call("Second");
  EXPECT_FALSE(queue.on_answer("2", {call_end::answered, {}})) << "it was not sent yet";
  EXPECT_FALSE(queue.on_answer("", {call_end::answered, {}}));
  EXPECT_TRUE(queue.on_answer("1", {call_end::answered, {}}));
  EXPECT_FALSE(queue.on_answer("1", {call_end::answered, {}})) << "it has ended";
  queue.abandon();
  run();
  EXPECT_EQ(ended.size(), 2U);
}

TEST_F(CallQueue, EndsEveryCallAsCutOffWhenAbandonedAndLaterOnesAtOnce) {
  call("First");
  call("Second");
  queue.abandon();
  call("Third");
  run();
  EXPECT_EQ(sent.size(), 1U);
  ASSERT_EQ(ended.size(), 3U);
  for (auto const& [action, outcome] : ended) {
    EXPECT_EQ(outcome.end, call_end::cut_off) << action;
  }
  EXPECT_FALSE(queue.on_answer("1", {call_end::answered, {}}));
}

class ImpatientCallQueue : public CallQueue {
 protected:
  call_queue impatient{loop.get_executor(), 1ms,
                       [this](std::string frame) { sent.push_back(std::move(frame)); }};
};

TEST_F(ImpatientCallQueue, GivesUpACallThatIsNotAnsweredInTimeAndSendsTheNext) {
  std::vector<call_end> ends;
  for (auto const* action : {"First", "Second"}) {
    boost::asio::co_spawn(
        loop, impatient.call(action, json::object()),
        [&ends](std::exception_ptr const&, call_outcome const& outcome) { ends.push_back(outcome.end); });
  }
  run();
  EXPECT_THAT(ends, ElementsAre(call_end::timed_out, call_end::timed_out));
  EXPECT_THAT(sent, ElementsAre(R"([2,"1","First",{}])", R"([2,"2","Second",{}])"));
  EXPECT_FALSE(impatient.on_answer("2", {call_end::answered, {}})) << "too late";
}

}  // namespace
}  // namespace tavi::ocpp_wire
