#include "firmware/delivery_tokens.h"

#include <ostream>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "log_capture.h"

namespace tavi::site::firmware {

void PrintTo(delivery_answer answer, std::ostream* out) {
  constexpr char const* names[] = {"granted", "unknown", "gone"};
  *out << names[static_cast<int>(answer)];
}

namespace {

using std::chrono::seconds;
using time_point = delivery_tokens::time_point;

constexpr auto start = time_point(std::chrono::hours(1000));
constexpr auto tick = time_point::duration(1);

delivery_limits small_limits() {
  delivery_limits limits;
  limits.life_time = seconds(100);
  limits.remember_time = seconds(50);
  limits.per_station = 2;
  limits.remembered = 2;
  return limits;
}

class DeliveryTokensTest : public testing::Test {
 protected:
  std::string make(unsigned int station = 7, time_point now = start) {
    return tokens.make({station, "/store/1_x7.bin"}, now).value_or("");
  }
  delivery_answer answer(std::string const& token, time_point now = start) const {
    return tokens.find(token, now).answer;
  }

  log_capture log;
  delivery_tokens tokens{small_limits()};
};

TEST_F(DeliveryTokensTest, TokenIsGoodForItsFileAndStation) {
  auto const token = make();
  EXPECT_EQ(token.size(), 43U);
  auto const found = tokens.find(token, start);
  EXPECT_EQ(found.answer, delivery_answer::granted);
  EXPECT_EQ(found.what.station, 7U);
  EXPECT_EQ(found.what.file, "/store/1_x7.bin");
}

TEST_F(DeliveryTokensTest, TokenCanBeUsedAnyNumberOfTimes) {
  auto const token = make();
  for (int count = 0; count < 100; ++count) {
    ASSERT_EQ(answer(token, start + seconds(count)), delivery_answer::granted);
  }
}

TEST_F(DeliveryTokensTest, EveryTokenIsAnother) {
  EXPECT_NE(make(1), make(1));
}

struct moment {
  char const* situation;
  time_point::duration after;
  delivery_answer answer;
};

void PrintTo(moment const& row, std::ostream* out) {
  *out << row.situation;
}

class DeliveryTokenAgeTest : public DeliveryTokensTest, public testing::WithParamInterface<moment> {};

TEST_P(DeliveryTokenAgeTest, DecidesTheAnswer) {
  EXPECT_EQ(answer(make(), start + GetParam().after), GetParam().answer);
}

INSTANTIATE_TEST_SUITE_P(
    Ages, DeliveryTokenAgeTest,
    testing::Values(moment{"new", seconds(0), delivery_answer::granted},
                    moment{"last moment of its life", seconds(100) - tick, delivery_answer::granted},
                    moment{"end of its life", seconds(100), delivery_answer::gone},
                    moment{"last moment it is remembered", seconds(150) - tick, delivery_answer::gone},
                    moment{"forgotten", seconds(150), delivery_answer::unknown}));

TEST_F(DeliveryTokensTest, WithdrawnTokenIsGoneAndThenForgotten) {
  auto const token = make();
  tokens.withdraw(token, start + seconds(10));
  EXPECT_EQ(answer(token, start + seconds(10)), delivery_answer::gone);
  EXPECT_EQ(answer(token, start + seconds(60)), delivery_answer::unknown);
}

TEST_F(DeliveryTokensTest, WithdrawingADeadTokenDoesNotKeepItInMind) {
  auto const token = make();
  tokens.withdraw(token, start + seconds(120));
  EXPECT_EQ(answer(token, start + seconds(150)), delivery_answer::unknown);
}

TEST_F(DeliveryTokensTest, WithdrawingWhatIsNoTokenChangesNothing) {
  auto const token = make();
  tokens.withdraw("none", start);
  tokens.withdraw("", start);
  EXPECT_EQ(answer(token), delivery_answer::granted);
}

TEST_F(DeliveryTokensTest, OldestTokenOfAStationGivesWayToANewOne) {
  auto const first = make(7, start);
  auto const second = make(7, start + seconds(1));
  auto const of_another = make(8, start + seconds(1));
  auto const third = make(7, start + seconds(2));
  EXPECT_EQ(answer(first, start + seconds(2)), delivery_answer::gone);
  EXPECT_EQ(answer(second, start + seconds(2)), delivery_answer::granted);
  EXPECT_EQ(answer(third, start + seconds(2)), delivery_answer::granted);
  EXPECT_EQ(answer(of_another, start + seconds(2)), delivery_answer::granted);
}

TEST_F(DeliveryTokensTest, DeadTokensOfAStationTakeNoPlace) {
  make(7, start);
  auto const live = make(7, start + seconds(50));
  make(7, start + seconds(100));
  EXPECT_EQ(answer(live, start + seconds(100)), delivery_answer::granted);
}

TEST_F(DeliveryTokensTest, OldestDeadTokensAreForgottenFirst) {
  std::vector<std::string> made;
  for (unsigned int station = 1; station <= 3; ++station) {
    made.push_back(make(station, start));
    tokens.withdraw(made.back(), start + seconds(station));
  }
  make(9, start + seconds(4));
  EXPECT_EQ(answer(made[0], start + seconds(4)), delivery_answer::unknown);
  EXPECT_EQ(answer(made[1], start + seconds(4)), delivery_answer::gone);
  EXPECT_EQ(answer(made[2], start + seconds(4)), delivery_answer::gone);
}

TEST_F(DeliveryTokensTest, StrangeTokensAreUnknown) {
  auto almost = make();
  almost.back() = almost.back() == 'A' ? 'B' : 'A';
  for (auto const& token : {std::string(), std::string("x"), std::string(43, 'A'), std::string(100000, 'A'),
                            std::string(43, '\0'), std::string("\xff\xfe"), almost}) {
    EXPECT_EQ(answer(token), delivery_answer::unknown);
  }
}

TEST_F(DeliveryTokensTest, WithoutRandomBytesNoneIsMadeAndNoneGivesWay) {
  bool is_there = true;
  delivery_tokens poor(small_limits(), [&](std::span<std::uint8_t> bytes) {
    return is_there && http::fill_from_system(bytes);
  });
  auto const first = poor.make({7, "/a"}, start).value();
  auto const second = poor.make({7, "/a"}, start).value();
  is_there = false;
  EXPECT_EQ(poor.make({7, "/a"}, start), std::nullopt);
  EXPECT_EQ(poor.find(first, start).answer, delivery_answer::granted);
  EXPECT_EQ(poor.find(second, start).answer, delivery_answer::granted);
  EXPECT_TRUE(log.holds(spdlog::level::err, "no random bytes"));
}

}  // namespace
}  // namespace tavi::site::firmware
