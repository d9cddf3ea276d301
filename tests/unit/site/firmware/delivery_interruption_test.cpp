#include <signal.h>
#include <sys/resource.h>
#include <sys/socket.h>

#include <chrono>
#include <fstream>
#include <string>

#include "delivery_site.h"
#include "sanitizer.h"

namespace tavi::site::firmware {
namespace {

using std::chrono::milliseconds;

TEST_F(DeliverySiteTest, ReaderThatTakesNothingIsCutAfterTheIdleTime) {
  options.times.idle_time = milliseconds(100);
  start();
  raw_client client(port);
  client.send(request("GET", offer("1_x7.bin", std::string(large, 'x')).target));
  EXPECT_TRUE(log.wait_for(spdlog::level::warn, "it takes the file too slowly", std::chrono::seconds(30)));
  EXPECT_LT(client.read_to_end().size(), large);
  EXPECT_EQ(client.end, connection_end::reset) << "what came must not look like the end of the file";
}

TEST_F(DeliverySiteTest, ReaderThatTakesALittleAgainAndAgainIsCutAfterTheTotalTime) {
  options.times.total_time = milliseconds(300);
  start();
  raw_client client(port);
  client.send(request("GET", offer("1_x7.bin", std::string(large, 'x')).target));
  std::size_t taken = 0;
  while (!log.holds(spdlog::level::warn, "is cut off") && taken < large) {
    if (client.has_bytes_within(milliseconds(5)) && !client.receive()) {
      break;
    }
    taken += std::exchange(client.received, {}).size();
    // Nobody reads at full speed: the log is looked at in between.
    static_cast<void>(log.wait_for(spdlog::level::warn, "is cut off", milliseconds(5)));
  }
  EXPECT_TRUE(log.wait_for(spdlog::level::warn, "is cut off", std::chrono::seconds(30)));
  EXPECT_LT(taken + client.read_to_end().size(), large);
  EXPECT_EQ(client.end, connection_end::reset);
}

TEST_F(DeliverySiteTest, SlowReaderDoesNotKeepOthersWaiting) {
  start();
  raw_client slow(port);
  slow.send(request("GET", offer("large.bin", std::string(large, 'x')).target));
  ASSERT_TRUE(slow.receive_until("\r\n\r\n"));
  EXPECT_EQ(body_of(ask(request("GET", offer("small.bin", "firmware").target))), "firmware");
}

TEST_F(DeliverySiteTest, FileThatChangesMeanwhileIsNotSentToItsEnd) {
  start();
  auto const target = offer("1_x7.bin", std::string(large, 'x')).target;
  raw_client client(port);
  client.send(request("GET", target));
  ASSERT_TRUE(client.receive_until("\r\n\r\n"));
  std::fstream(store / "1_x7.bin", std::ios::in | std::ios::out | std::ios::binary).seekp(large - 8)
      << "changed!";
  auto const received = client.received + client.read_to_end();
  EXPECT_EQ(received.find("changed!"), std::string::npos);
  EXPECT_EQ(client.end, connection_end::reset);
  EXPECT_TRUE(log.holds(spdlog::level::warn, ": the file changed"));
}

TEST_F(DeliverySiteTest, FileThatIsRemovedMeanwhileIsNotSentToItsEnd) {
  start();
  auto const target = offer("1_x7.bin", std::string(large, 'x')).target;
  raw_client client(port);
  client.send(request("GET", target));
  ASSERT_TRUE(client.receive_until("\r\n\r\n"));
  std::filesystem::remove(store / "1_x7.bin");
  client.read_to_end();
  EXPECT_EQ(client.end, connection_end::reset);
  EXPECT_EQ(status_of(ask(request("GET", target))), 410);
}

TEST_F(DeliverySiteTest, StationThatGoesAwayLeavesNothingOpen) {
  start();
  auto const target = offer("1_x7.bin", std::string(large, 'x')).target;
  raw_client client(port);
  client.send(request("GET", target));
  ASSERT_TRUE(client.receive_until("\r\n\r\n"));
  client.close();
  EXPECT_TRUE(log.wait_for(spdlog::level::warn, "is cut off, station 7, token", std::chrono::seconds(30)));
  site.call([] {});
  for (auto const& entry : std::filesystem::directory_iterator("/proc/self/fd")) {
    std::error_code ignored;
    EXPECT_NE(std::filesystem::read_symlink(entry.path(), ignored), store / "1_x7.bin");
  }
}

TEST_F(DeliverySiteTest, ServerThatGoesAwayCutsWhatItDelivers) {
  start();
  raw_client client(port);
  client.send(request("GET", offer("1_x7.bin", std::string(large, 'x')).target));
  ASSERT_TRUE(client.receive_until("\r\n\r\n"));
  stop();
  client.read_to_end();
  EXPECT_NE(client.end, connection_end::open);
  site.finish();
}

TEST_F(DeliverySiteTest, FetchThatBeganInTimeEndsAfterTheTokensLife) {
  options.tokens.life_time = std::chrono::milliseconds(500);
  start();
  auto const content = std::string(large, 'x');
  auto const target = offer("1_x7.bin", content).target;
  raw_client client(port);
  client.send(request("GET", target));
  ASSERT_TRUE(client.receive_until("\r\n\r\n"));
  // The other way to know that the time is over would be to sleep.
  while (status_of(ask(request("HEAD", target, "Connection: close\r\n"))) == 200) {
  }
  auto const answer = client.read_answer();
  EXPECT_EQ(body_of(answer) == content, true);
}

TEST_F(DeliverySiteTest, WithoutAFreeDescriptorTheStationIsToldToComeAgain) {
  if (is_sanitizer_in_need_of_descriptors) {
    GTEST_SKIP() << "the sanitizers open files of their own";
  }
  start();
  auto const target = offer("1_x7.bin", "firmware").target;
  raw_client client(port);
  client.send(request("HEAD", target));
  ASSERT_TRUE(client.receive_until("\r\n\r\n"));
  client.received.clear();
  rlimit before{};
  ASSERT_EQ(::getrlimit(RLIMIT_NOFILE, &before), 0);
  rlimit const none{3, before.rlim_max};
  ASSERT_EQ(::setrlimit(RLIMIT_NOFILE, &none), 0);
  client.send(request("GET", target));
  auto const answer = client.read_answer();
  ::setrlimit(RLIMIT_NOFILE, &before);
  EXPECT_EQ(status_of(answer), 503);
  EXPECT_EQ(field_of(answer, "Retry-After"), "30");
  client.send(request("GET", target));
  EXPECT_EQ(body_of(client.read_answer()), "firmware");
}

}  // namespace
}  // namespace tavi::site::firmware
