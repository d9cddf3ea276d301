#include "secret_token.h"

#include <algorithm>
#include <set>
#include <string>

#include <gtest/gtest.h>

#include "log_capture.h"

namespace tavi::http {
namespace {

TEST(SecretToken, IsThirtyTwoBytesInCharactersThatNeedNoEscape) {
  auto const token = make_secret_token(fill_from_system).value_or("");

  EXPECT_EQ(token.size(), 43U);
  EXPECT_EQ(token.find_first_not_of("ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789-_"),
            std::string::npos);
}

TEST(SecretToken, IsNotMadeTwice) {
  std::set<std::string> made;
  for (auto count = 0; count < 1000; ++count) {
    made.insert(make_secret_token(fill_from_system).value_or(""));
  }
  EXPECT_EQ(made.size(), 1000U);
}

TEST(SecretToken, IsNotMadeWithoutRandomBytes) {
  log_capture const log;
  EXPECT_EQ(make_secret_token([](std::span<std::uint8_t>) { return false; }), std::nullopt);
  EXPECT_TRUE(log.holds(spdlog::level::err, "[secret_token] the system gives no random bytes"));
}

TEST(SecretToken, KeyTellsTokensApartAndHoldsNothingOfThem) {
  EXPECT_EQ(key_of_secret("abc"), key_of_secret("abc"));
  EXPECT_NE(key_of_secret("abc"), key_of_secret("abd"));
  EXPECT_EQ(key_of_secret("abc").find("abc"), std::string::npos);
  EXPECT_EQ(key_of_secret("").size(), 32U);
}

TEST(SecretToken, IsTheSameOnlyWithEveryByte) {
  EXPECT_TRUE(is_same_secret("abc", "abc"));
  EXPECT_TRUE(is_same_secret("", ""));
  EXPECT_FALSE(is_same_secret("abc", "abd"));
  EXPECT_FALSE(is_same_secret("abc", "ab"));
  EXPECT_FALSE(is_same_secret("abc", "abcd"));
}

}  // namespace
}  // namespace tavi::http
