#include "mura_common/text.h"

#include <stdlib.h>
#include <time.h>

#include <array>
#include <cstdint>
#include <limits>
#include <string>
#include <vector>

#include <gtest/gtest.h>

namespace mura_common {
namespace {

TEST(StartsWith, ComparesByteForByte) {
  EXPECT_TRUE(startsWith("/var/lib", "/"));
  EXPECT_TRUE(startsWith("same", "same"));
  EXPECT_TRUE(startsWith("anything", ""));
  EXPECT_FALSE(startsWith("Case", "case"));
  EXPECT_FALSE(startsWith("short", "shorter"));
  EXPECT_FALSE(startsWith("", "x"));
}

TEST(ToHexString, WritesTwoLowerCaseDigitsForEachByte) {
  std::array<std::uint8_t, 4> const bytes{0x00, 0x0f, 0xa0, 0xff};
  EXPECT_EQ(toHexString(bytes), "000fa0ff");
  EXPECT_EQ(toHexString({}), "");
}

class LocalTime : public testing::Test {
 protected:
  static void in_zone(char const* zone) {
    setenv("TZ", zone, 1);
    tzset();
  }
  void TearDown() override {
    unsetenv("TZ");
    tzset();
  }
};

TEST_F(LocalTime, IsWrittenInTheBasicFormWithItsOffset) {
  in_zone("CET-1");
  EXPECT_EQ(to_local_iso8601(1795179909), "20261120T140509+0100");
  in_zone("UTC0");
  EXPECT_EQ(to_local_iso8601(0), "19700101T000000+0000");
  EXPECT_EQ(to_local_iso8601(-1), "19691231T235959+0000");
}

TEST_F(LocalTime, IsEmptyForAMomentBeyondTheCalendar) {
  EXPECT_EQ(to_local_iso8601(std::numeric_limits<std::int64_t>::max()), "");
}

TEST(NearestWord, IsTheOneWithFewestDifferences) {
  std::vector<std::string> const known = {"list", "generate", "delete", "export", "folder"};
  EXPECT_EQ(find_nearest_word("lst", known), "list");
  EXPECT_EQ(find_nearest_word("lists", known), "list");
  EXPECT_EQ(find_nearest_word("lost", known), "list");
  EXPECT_EQ(find_nearest_word("genrate", known), "generate");
  EXPECT_EQ(find_nearest_word("dleete", known), "delete");
  EXPECT_EQ(find_nearest_word("list", {"last", "list"}), "list");
}

TEST(NearestWord, CountsTwoLettersThatChangedPlacesAsOneDifference) {
  EXPECT_EQ(find_nearest_word("gte", {"get"}), "get");
  EXPECT_EQ(find_nearest_word("tse", {"set"}), "");
}

TEST(NearestWord, IsTheFirstOfTwoThatAreEquallyNear) {
  EXPECT_EQ(find_nearest_word("bet", {"set", "get"}), "set");
}

TEST(NearestWord, IsAbsentWhenNothingIsNear) {
  EXPECT_EQ(find_nearest_word("reboot", {"list", "generate"}), "");
  EXPECT_EQ(find_nearest_word("xyz", {"set", "get"}), "");
  EXPECT_EQ(find_nearest_word("", {"a"}), "");
  EXPECT_EQ(find_nearest_word("x", {"a"}), "");
  EXPECT_EQ(find_nearest_word("list", {}), "");
  EXPECT_EQ(find_nearest_word(std::string(65, 'a'), {std::string(65, 'a')}), "");
}

TEST(NearestWord, MayDifferMoreTheLongerItIs) {
  EXPECT_EQ(find_nearest_word("abcdX", {"abcde"}), "abcde");
  EXPECT_EQ(find_nearest_word("abcXX", {"abcde"}), "");
  EXPECT_EQ(find_nearest_word("abcdXX", {"abcdef"}), "abcdef");
  EXPECT_EQ(find_nearest_word("abcXXX", {"abcdef"}), "");
}

TEST(UnknownWord, IsExplainedWithTheNearestOne) {
  std::vector<std::string> const known = {"--port", "--config"};
  EXPECT_EQ(explain_unknown_word("--prot=80", known),
            "\"--prot=80\" is not known here: did you mean \"--port\"?");
  EXPECT_EQ(explain_unknown_word("--fast", known), "\"--fast\" is not known here");
}

}  // namespace
}  // namespace mura_common
