#include <sys/stat.h>

#include <algorithm>
#include <atomic>
#include <functional>
#include <future>
#include <memory>
#include <stdexcept>
#include <string>
#include <thread>

#include <gmock/gmock.h>

#include "ipc/ipc_event_count.h"
#include "ipc_raw_peer.h"
#include "ipc_test.h"
#include "mura_common/delivery.h"
#include "mura_common/ipc.h"

namespace {

using mura_common::publisher;
using mura_common::subscription;
using nlohmann::json;
using spdlog::level::debug;
using spdlog::level::err;
using spdlog::level::warn;

TEST(EventCount, TellsWhatWasMissedWithinARunOfThePublisher) {
  mura_common::ipc::event_count count;
  EXPECT_EQ(count.note("a", 7), 0U);
  EXPECT_EQ(count.note("a", 8), 0U);
  EXPECT_EQ(count.note("a", 10), 1U);
  EXPECT_EQ(count.note("a", 20), 9U);
  EXPECT_EQ(count.note("a", 20), 0U);
  EXPECT_EQ(count.note("b", 3), 0U);
  EXPECT_EQ(count.note("b", 5), 1U);
  EXPECT_EQ(count.note("a", 100), 0U);
}

class Events : public ipc_test {
 protected:
  /// Begins to receive "number" events of "source" into `received`, and the events that `connect` sends.
  void subscribe() {
    ASSERT_TRUE(events.subscribe("number", [&](json const& arguments) { received.add(arguments.at(0)); }));
    ASSERT_TRUE(events.subscribe("hello", [&](json const&) { greeted.add(true); }));
  }

  /// Publishes until the subscription, which connects in the background, has heard of it.
  void connect(publisher& source) {
    greeted.clear();
    for (int attempt = 0; attempt < 3000; ++attempt) {
      source.publish("hello", json::array());
      if (!greeted.wait_for(1, std::chrono::milliseconds(10)).empty()) {
        return;
      }
    }
    FAIL() << "no event came through";
  }

  collector<json> received;
  collector<bool> greeted;
  subscription events{"receiver", "source"};
};

TEST_F(Events, ArriveInTheirOrder) {
  publisher source("source");
  ASSERT_TRUE(source.start());
  subscribe();
  connect(source);
  for (int number = 0; number < 100; ++number) {
    EXPECT_TRUE(source.publish("number", {number}));
  }
  auto const all = received.wait_for(100);
  ASSERT_EQ(all.size(), 100U);
  EXPECT_TRUE(std::is_sorted(all.begin(), all.end()));
  EXPECT_FALSE(log.holds(warn, "missed"));
}

TEST_F(Events, ArriveWhenThePublisherComesAfterTheSubscriber) {
  subscribe();
  publisher source("source");
  ASSERT_TRUE(source.start());
  connect(source);
}

TEST_F(Events, GoOnSilentlyWhenThePublisherWasReplaced) {
  subscribe();
  auto source = std::make_unique<publisher>("source");
  ASSERT_TRUE(source->start());
  connect(*source);
  for (int number = 0; number < 5; ++number) {
    source->publish("number", {number});
  }
  ASSERT_EQ(received.wait_for(5).size(), 5U);
  source.reset();
  EXPECT_FALSE(std::filesystem::exists(socket("source.pub")));
  publisher successor("source");
  ASSERT_TRUE(successor.start());
  connect(successor);
  EXPECT_FALSE(log.holds(warn, "missed"));
}

TEST_F(Events, HaveThePublishersSocketForTheGroupOnly) {
  publisher source("source");
  ASSERT_TRUE(source.start());
  EXPECT_TRUE(source.start());
  struct stat status {};
  ASSERT_EQ(stat(socket("source.pub").c_str(), &status), 0);
  EXPECT_EQ(status.st_mode & 07777U, 0660U);
}

TEST_F(Events, HaveOnePublisherOnly) {
  publisher source("source");
  ASSERT_TRUE(source.start());
  publisher second("source");
  EXPECT_FALSE(second.start());
  EXPECT_TRUE(log.holds(err, "held by another"));
}

TEST_F(Events, CannotBePublishedBeforeTheStart) {
  publisher source("source");
  EXPECT_FALSE(source.publish("number", {1}));
  EXPECT_TRUE(log.holds(warn, "number is lost"));
}

TEST_F(Events, HaveAPathThatFitsIntoASocketsName) {
  std::string const name(120, 'n');
  subscription far("receiver", name);
  EXPECT_FALSE(far.subscribe("x", [](json const&) {}));
  publisher source(name);
  EXPECT_FALSE(source.start());
  ASSERT_EQ(log.lines().size(), 2U);
  for (auto const& line : log.lines()) {
    EXPECT_EQ(line.level, err);
    EXPECT_THAT(line.text, testing::HasSubstr(socket(name + ".pub").string()));
    EXPECT_THAT(line.text, testing::HasSubstr("107"));
  }
}

TEST_F(Events, AreDroppedWhenNobodySubscribedToThem) {
  publisher source("source");
  ASSERT_TRUE(source.start());
  subscribe();
  connect(source);
  source.publish("other", {1});
  source.publish("number", {2});
  EXPECT_EQ(received.wait_for(1), std::vector<json>{2});
  EXPECT_TRUE(log.holds(debug, "other"));
}

TEST_F(Events, CanBeSubscribedToWhileOthersArrive) {
  publisher source("source");
  ASSERT_TRUE(source.start());
  subscribe();
  connect(source);
  collector<json> others;
  ASSERT_TRUE(events.subscribe("other", [&](json const& arguments) { others.add(arguments); }));
  source.publish("other", {1});
  EXPECT_EQ(others.wait_for(1).size(), 1U);
  events.stop();
}

TEST_F(Events, GoOnAfterAnExceptionOutOfAHandler) {
  publisher source("source");
  ASSERT_TRUE(source.start());
  ASSERT_TRUE(events.subscribe("bad", [](json const&) { throw std::runtime_error("out of sorts"); }));
  ASSERT_TRUE(events.subscribe("odd", [](json const&) { throw 7; }));
  subscribe();
  connect(source);
  source.publish("bad", json::array());
  source.publish("odd", json::array());
  source.publish("number", {1});
  EXPECT_EQ(received.wait_for(1).size(), 1U);
  EXPECT_TRUE(log.holds(err, "out of sorts"));
  EXPECT_TRUE(log.holds(err, "unknown type"));
}

/// A publisher that sends frames as it likes.
class raw_publisher {
 public:
  explicit raw_publisher(std::filesystem::path const& file) : socket(context, zmq::socket_type::pub) {
    socket.set(zmq::sockopt::linger, 0);
    socket.bind("ipc://" + file.string());
  }
  void send(std::vector<std::string> const& frames) {
    for (std::size_t at = 0; at < frames.size(); ++at) {
      socket.send(zmq::buffer(frames[at]),
                  at + 1 < frames.size() ? zmq::send_flags::sndmore : zmq::send_flags::none);
    }
  }
  void send_event(char const* event, int number, char const* run) {
    send({json{
        {"protocol", 1}, {"event", event}, {"number", number}, {"publisher", run}, {"arguments", {number}}}
              .dump()});
  }

 private:
  zmq::context_t context;
  zmq::socket_t socket;
};

class RawEvents : public Events {
 protected:
  /// Sends the first event of run "a" until it comes through.
  void connect_raw() {
    subscribe();
    for (int attempt = 0; attempt < 3000 && greeted.wait_for(1, std::chrono::milliseconds(10)).empty();
         ++attempt) {
      source.send_event("hello", 1, "a");
    }
    ASSERT_FALSE(greeted.wait_for(1).empty());
  }
  raw_publisher source{socket("source.pub")};
};

TEST_F(RawEvents, HaveGapsThatAreLogged) {
  connect_raw();
  source.send_event("number", 2, "a");
  source.send_event("number", 6, "a");
  source.send_event("number", 1, "b");
  source.send_event("number", 2, "b");
  ASSERT_EQ(received.wait_for(4).size(), 4U);
  auto const lines = log.lines();
  EXPECT_EQ(std::count_if(lines.begin(), lines.end(),
                          [](log_line const& line) { return line.text.find("missed") != std::string::npos; }),
            1);
  EXPECT_TRUE(log.holds(warn, "missed 3 events of source"));
}

TEST_F(RawEvents, AreDroppedWithALineWhenTheyCannotBeUnderstood) {
  connect_raw();
  source.send({"hello"});
  source.send({""});
  source.send({std::string(100'000, '[')});
  source.send({"one", "two", "three"});
  source.send_event("number", 2, "a");
  ASSERT_EQ(received.wait_for(1).size(), 1U);
  auto const lines = log.lines();
  EXPECT_EQ(std::count_if(lines.begin(), lines.end(),
                          [](log_line const& line) {
                            return line.level == warn &&
                                   line.text.find("dropped an event of source") != std::string::npos;
                          }),
            4);
}

TEST_F(Events, AreNotHandedOverAfterTheStop) {
  publisher source("source");
  ASSERT_TRUE(source.start());
  subscribe();
  connect(source);
  events.stop();
  events.stop();
  source.publish("number", {1});
  subscribe();
  connect(source);
  EXPECT_EQ(received.wait_for(0).size(), 0U);
}

TEST_F(Events, AreWaitedForByTheStopWhenOneIsBeingHandled) {
  publisher source("source");
  ASSERT_TRUE(source.start());
  gate begun;
  gate finish;
  std::atomic<bool> is_done = false;
  std::atomic<bool> is_subscribed_late = true;
  ASSERT_TRUE(events.subscribe("slow", [&](json const&) {
    begun.open();
    finish.pass();
    is_subscribed_late = events.subscribe("late", [](json const&) {});
    is_done = true;
  }));
  subscribe();
  connect(source);
  source.publish("slow", json::array());
  ASSERT_TRUE(begun.pass());
  auto stopped = std::async(std::launch::async, [&] {
    events.stop();
    return is_done.load();
  });
  finish.open();
  EXPECT_TRUE(stopped.get());
}

TEST_F(Events, TakeTurnsWithTheRequestsOfTheirReceiver) {
  std::atomic<int> inside = 0;
  std::atomic<int> most = 0;
  auto const handle = [&] {
    most = std::max(most.load(), ++inside);
    std::this_thread::yield();
    --inside;
  };
  mura_common::request_server server("receiver");
  server.add("work", [&](json const&) {
    handle();
    return json::object();
  });
  ASSERT_TRUE(server.start());
  publisher source("source");
  ASSERT_TRUE(source.start());
  ASSERT_TRUE(events.subscribe("number", [&](json const& arguments) {
    handle();
    received.add(arguments.at(0));
  }));
  ASSERT_TRUE(events.subscribe("hello", [&](json const&) { greeted.add(true); }));
  connect(source);
  std::thread publishing([&] {
    for (int number = 0; number < 300; ++number) {
      source.publish("number", {number});
    }
  });
  mura_common::request_client client("receiver", generous);
  for (int count = 0; count < 300; ++count) {
    json reply;
    ASSERT_EQ(client.call("work", json::array(), reply), mura_common::call_failure::none);
  }
  publishing.join();
  EXPECT_EQ(received.wait_for(300).size(), 300U);
  EXPECT_EQ(most, 1);
  events.stop();
}

TEST_F(Events, WaitForTheirReceiversTurn) {
  publisher source("source");
  ASSERT_TRUE(source.start());
  subscribe();
  connect(source);
  auto const lane = mura_common::delivery_lane_of("receiver");
  std::unique_lock turn(*lane);
  source.publish("number", {1});
  EXPECT_TRUE(received.wait_for(1, std::chrono::milliseconds(50)).empty());
  turn.unlock();
  EXPECT_EQ(received.wait_for(1).size(), 1U);
}

TEST_F(Events, CanBePublishedByManyThreads) {
  publisher source("source");
  ASSERT_TRUE(source.start());
  subscribe();
  connect(source);
  std::vector<std::thread> threads;
  for (int thread = 0; thread < 4; ++thread) {
    threads.emplace_back([&] {
      for (int number = 0; number < 50; ++number) {
        source.publish("number", {number});
      }
    });
  }
  for (auto& thread : threads) {
    thread.join();
  }
  EXPECT_EQ(received.wait_for(200).size(), 200U);
  EXPECT_FALSE(log.holds(warn, "missed"));
}

}  // namespace
