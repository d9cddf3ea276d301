#include "uploads/token_store.h"

#include <algorithm>
#include <ostream>
#include <set>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "log_capture.h"

namespace tavi::site::uploads {

void PrintTo(token_answer answer, std::ostream* out) {
  constexpr char const* names[] = {"granted", "unknown", "in_use", "gone"};
  *out << names[static_cast<int>(answer)];
}

namespace {

using std::chrono::seconds;
using time_point = token_store::time_point;

constexpr auto beginning = time_point(std::chrono::hours(1000));
constexpr auto least_time = token_store::time_point::duration(1);

token_limits small_limits() {
  token_limits limits;
  limits.life_time = seconds(100);
  limits.remember_time = seconds(50);
  limits.live = 3;
  limits.remembered = 2;
  return limits;
}

class TokenStoreTest : public testing::Test {
 protected:
  std::string make(time_point now = beginning) { return tokens.make("diagnostics", now).value_or(""); }
  token_answer use(std::string const& token, time_point now) { return tokens.acquire(token, now).answer; }
  std::string make_spent(time_point now) {
    auto token = make(now);
    EXPECT_EQ(use(token, now), token_answer::granted);
    tokens.spend(token, now);
    return token;
  }

  log_capture log;
  token_store tokens{small_limits()};
};

TEST_F(TokenStoreTest, TokenIsThirtyTwoBytesInCharactersThatNeedNoEscape) {
  auto const token = make();

  EXPECT_EQ(token.size(), 43U);
  EXPECT_EQ(token.find_first_not_of("ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789-_"),
            std::string::npos);
}

TEST_F(TokenStoreTest, GivenBytesGiveTheirText) {
  token_store known(small_limits(), [](std::span<std::uint8_t> bytes) {
    std::fill(bytes.begin(), bytes.end(), std::uint8_t{0xff});
    return true;
  });

  EXPECT_EQ(known.make("diagnostics", beginning), std::string(42, '_') + "8");
}

TEST_F(TokenStoreTest, NoTokenIsMadeTwice) {
  token_limits limits;
  token_store many(limits);
  std::set<std::string> made;
  for (auto count = 0; count < 1000; ++count) {
    made.insert(many.make("diagnostics", beginning).value_or(""));
  }
  EXPECT_EQ(made.size(), 1000U);
}

TEST_F(TokenStoreTest, GrantNamesOwnerAndEndOfLife) {
  auto const grant = tokens.acquire(make(), beginning + seconds(7));

  EXPECT_EQ(grant.answer, token_answer::granted);
  EXPECT_EQ(grant.owner, "diagnostics");
  EXPECT_EQ(grant.expires_at, beginning + seconds(100));
}

TEST_F(TokenStoreTest, TokenInUseIsRefusedUntilItIsReleased) {
  auto const token = make();

  EXPECT_EQ(use(token, beginning), token_answer::granted);
  EXPECT_EQ(use(token, beginning), token_answer::in_use);
  tokens.release(token);
  EXPECT_EQ(use(token, beginning), token_answer::granted);
}

TEST_F(TokenStoreTest, SpentTokenCannotBeReleased) {
  auto const token = make_spent(beginning);

  tokens.release(token);

  EXPECT_EQ(use(token, beginning), token_answer::gone);
}

TEST_F(TokenStoreTest, UnusedTokenCannotBeSpent) {
  auto const token = make();

  tokens.spend(token, beginning);

  EXPECT_EQ(use(token, beginning), token_answer::granted);
}

TEST_F(TokenStoreTest, UploadBegunInTimeMayEndLater) {
  auto const token = make();
  ASSERT_EQ(use(token, beginning + seconds(99)), token_answer::granted);

  EXPECT_EQ(use(token, beginning + seconds(500)), token_answer::in_use);
  tokens.spend(token, beginning + seconds(500));
  EXPECT_EQ(use(token, beginning + seconds(549)), token_answer::gone);
  EXPECT_EQ(use(token, beginning + seconds(550)), token_answer::unknown);
}

struct moment {
  char const* situation;
  token_store::time_point::duration after;
  token_answer answer;
};

void PrintTo(moment const& row, std::ostream* out) {
  *out << row.situation;
}

class UnusedTokenTest : public TokenStoreTest, public testing::WithParamInterface<moment> {};

TEST_P(UnusedTokenTest, AnswersByItsAge) {
  EXPECT_EQ(use(make(), beginning + GetParam().after), GetParam().answer);
}

INSTANTIATE_TEST_SUITE_P(
    Ages, UnusedTokenTest,
    testing::Values(moment{"new", seconds(0), token_answer::granted},
                    moment{"last moment of its life", seconds(100) - least_time, token_answer::granted},
                    moment{"end of its life", seconds(100), token_answer::gone},
                    moment{"last moment it is remembered", seconds(150) - least_time, token_answer::gone},
                    moment{"forgotten", seconds(150), token_answer::unknown}));

class SpentTokenTest : public TokenStoreTest, public testing::WithParamInterface<moment> {};

TEST_P(SpentTokenTest, AnswersByTheTimeSinceItWasSpent) {
  EXPECT_EQ(use(make_spent(beginning), beginning + GetParam().after), GetParam().answer);
}

INSTANTIATE_TEST_SUITE_P(Ages, SpentTokenTest,
                         testing::Values(moment{"at once", seconds(0), token_answer::gone},
                                         moment{"last moment it is remembered", seconds(50) - least_time,
                                                token_answer::gone},
                                         moment{"forgotten", seconds(50), token_answer::unknown}));

class StrangeTokenTest : public TokenStoreTest, public testing::WithParamInterface<std::string> {};

TEST_P(StrangeTokenTest, IsUnknown) {
  make();
  EXPECT_EQ(use(GetParam(), beginning), token_answer::unknown);
}

INSTANTIATE_TEST_SUITE_P(Situations, StrangeTokenTest,
                         testing::Values("", "x", std::string(43, 'A'), std::string(100000, 'A'),
                                         std::string(43, '\0'), "\xff\xfe"));

TEST_F(TokenStoreTest, TokenWithAnotherEndIsUnknown) {
  auto token = make();

  token.back() = token.back() == 'A' ? 'B' : 'A';

  EXPECT_EQ(use(token, beginning), token_answer::unknown);
}

TEST_F(TokenStoreTest, LimitOfLiveTokensHoldsUntilOneIsDead) {
  auto const first = make();
  make();
  make();
  EXPECT_EQ(make(), "");
  EXPECT_TRUE(log.holds(spdlog::level::err, "3 tokens are live"));

  ASSERT_EQ(use(first, beginning), token_answer::granted);
  EXPECT_EQ(make(), "") << "a token in use is live";
  tokens.spend(first, beginning);
  EXPECT_NE(make(), "");
}

TEST_F(TokenStoreTest, ExpiredTokensAreNotLive) {
  make();
  make();
  make();
  EXPECT_EQ(make(beginning + seconds(100) - least_time), "");
  EXPECT_NE(make(beginning + seconds(100)), "");
}

TEST_F(TokenStoreTest, OldestDeadTokensAreForgottenFirst) {
  auto const first = make_spent(beginning);
  auto const second = make_spent(beginning + seconds(1));
  auto const third = make_spent(beginning + seconds(2));
  make(beginning + seconds(3));

  EXPECT_EQ(use(first, beginning + seconds(3)), token_answer::unknown);
  EXPECT_EQ(use(second, beginning + seconds(3)), token_answer::gone);
  EXPECT_EQ(use(third, beginning + seconds(3)), token_answer::gone);
}

TEST_F(TokenStoreTest, TokenSpentBeforeARestartIsGone) {
  tokens.restore_spent("from before", beginning);

  EXPECT_EQ(use("from before", beginning), token_answer::gone);
  EXPECT_EQ(use("from before", beginning + seconds(50)), token_answer::unknown);
}

TEST_F(TokenStoreTest, WithoutRandomBytesNoTokenIsMade) {
  token_store poor(small_limits(), [](std::span<std::uint8_t>) { return false; });

  EXPECT_FALSE(poor.make("diagnostics", beginning).has_value());
  EXPECT_TRUE(log.holds(spdlog::level::err, "no random bytes"));
}

TEST_F(TokenStoreTest, OwnerHasOneToTwoHundredAndFiftySixBytes) {
  EXPECT_FALSE(tokens.make("", beginning).has_value());
  EXPECT_TRUE(log.holds(spdlog::level::err, "has 0 bytes"));
  EXPECT_FALSE(tokens.make(std::string(257, 'o'), beginning).has_value());
  EXPECT_TRUE(tokens.make(std::string(256, 'o'), beginning).has_value());
  EXPECT_TRUE(tokens.make("o", beginning).has_value());
}

TEST_F(TokenStoreTest, NoTokenIsEverLogged) {
  std::vector<std::string> made{make(), make(), make(), make_spent(beginning + seconds(200))};

  for (auto const& line : log.lines()) {
    for (auto const& token : made) {
      EXPECT_TRUE(token.empty() || line.text.find(token) == std::string::npos) << line.text;
    }
  }
}

}  // namespace
}  // namespace tavi::site::uploads
