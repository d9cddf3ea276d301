#include <chrono>
#include <memory>
#include <string>
#include <vector>

#include "delivery_site.h"

namespace tavi::site::firmware {
namespace {

/// Deliveries that have begun and of which nothing more is taken.
class DeliveryLimits : public DeliverySiteTest {
 protected:
  void begin_and_hold(std::string const& target) {
    held.push_back(std::make_unique<raw_client>(port));
    held.back()->send(request("GET", target));
    ASSERT_TRUE(held.back()->receive_until("\r\n\r\n"));
    ASSERT_EQ(status_of(held.back()->received), 200);
  }

  /// Asks until there is another answer than this, because a place is free a moment after its delivery ended.
  std::string ask_while(int status, std::string const& text) const {
    auto const give_up = std::chrono::steady_clock::now() + std::chrono::seconds(30);
    auto answer = ask(text);
    while (status_of(answer) == status && std::chrono::steady_clock::now() < give_up) {
      answer = ask(text);
    }
    return answer;
  }

  std::vector<std::unique_ptr<raw_client>> held;
};

TEST_F(DeliveryLimits, ThirdFetchWithATokenIsToldToComeLater) {
  start();
  auto const location = offer("large.bin", std::string(large, 'x'));
  begin_and_hold(location.target);
  begin_and_hold(location.target);

  raw_client third(port);
  third.send(request("GET", location.target));
  auto const answer = third.read_answer();

  EXPECT_EQ(status_of(answer), 429);
  EXPECT_EQ(field_of(answer, "Retry-After"), "30");
  EXPECT_EQ(field_of(answer, "Connection"), "close");
  third.finish_sending();
  EXPECT_EQ(third.read_to_end(), "");
  EXPECT_EQ(third.end, connection_end::closed);
  EXPECT_TRUE(log.holds(spdlog::level::info, "got 429 for token " + location.token.substr(0, 6) +
                                                 "...: this location is being fetched already"));
}

TEST_F(DeliveryLimits, OtherTokensAreNotConcernedByOneThatIsBusy) {
  start();
  auto const target = offer("large.bin", std::string(large, 'x')).target;
  begin_and_hold(target);
  begin_and_hold(target);
  EXPECT_EQ(body_of(ask(request("GET", offer("small.bin", "firmware").target))), "firmware");
}

TEST_F(DeliveryLimits, StationFetchesAgainWhenItsLostConnectionIsNoticed) {
  start();
  auto const target = offer("large.bin", std::string(large, 'x')).target;
  begin_and_hold(target);
  begin_and_hold(target);
  ASSERT_EQ(status_of(ask(request("GET", target))), 429);

  held.erase(held.begin());

  EXPECT_EQ(status_of(ask_while(429, request("GET", target, "Range: bytes=0-9\r\n"))), 206);
}

TEST_F(DeliveryLimits, WhenTooManyFetchTheNextOneIsToldToComeLater) {
  options.counts.altogether = 3;
  options.times.idle_time = std::chrono::seconds(45);
  start();
  auto const large_one = offer("large.bin", std::string(large, 'x')).target;
  begin_and_hold(large_one);
  begin_and_hold(large_one);
  begin_and_hold(offer_again("large.bin").target);
  auto const small_one = offer("small.bin", "firmware").target;

  auto const answer = ask(request("GET", small_one));

  EXPECT_EQ(status_of(answer), 503);
  EXPECT_EQ(field_of(answer, "Retry-After"), "45");
  EXPECT_EQ(field_of(answer, "Connection"), "close");
  EXPECT_TRUE(log.holds(spdlog::level::info, "too many files are being fetched"));
  held.clear();
  EXPECT_EQ(body_of(ask_while(503, request("GET", small_one))), "firmware");
}

TEST_F(DeliveryLimits, LocationThatIsNoneIsToldSoWhateverIsGoingOn) {
  options.counts.altogether = 1;
  start();
  begin_and_hold(offer("large.bin", std::string(large, 'x')).target);
  EXPECT_EQ(status_of(ask(request("GET", "/firmware/unknown"))), 404);
}

}  // namespace
}  // namespace tavi::site::firmware
