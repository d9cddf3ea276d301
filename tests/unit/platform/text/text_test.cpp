#include "mura_common/text.h"

#include <stdlib.h>
#include <time.h>

#include <array>
#include <cstdint>
#include <limits>
#include <optional>
#include <string>
#include <string_view>
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

TEST(ForeignByte, IsFoundWhereTheTextStopsBeingUtf8) {
  EXPECT_EQ(find_foreign_byte(""), std::nullopt);
  EXPECT_EQ(find_foreign_byte("Z\xc3\xbcrich \xe2\x82\xac \xf0\x9f\x9a\x97"), std::nullopt);
  EXPECT_EQ(find_foreign_byte(std::string_view("a\0b", 3)), std::nullopt);
  EXPECT_EQ(find_foreign_byte("\xff"), 0U);
  EXPECT_EQ(find_foreign_byte("ab\xfc"), 2U);
  EXPECT_EQ(find_foreign_byte("ab\xe2\x82"), 2U) << "cut off";
  EXPECT_EQ(find_foreign_byte("a\xc0\xaf"), 1U) << "longer than needed";
  EXPECT_EQ(find_foreign_byte("a\xed\xa0\x80"), 1U) << "half of a pair";
  EXPECT_EQ(find_foreign_byte("a\xf4\x90\x80\x80"), 1U) << "beyond the last character";
  EXPECT_TRUE(is_utf8("\xc3\xbc"));
  EXPECT_FALSE(is_utf8("\xfc"));
  EXPECT_FALSE(is_utf8("a\xc3"));
  EXPECT_TRUE(is_utf8(""));
}

TEST(JsonDepth, CountsBracketsOutsideOfStrings) {
  EXPECT_FALSE(is_json_deeper_than("", 0));
  EXPECT_FALSE(is_json_deeper_than("1", 0));
  EXPECT_TRUE(is_json_deeper_than("[]", 0));
  EXPECT_FALSE(is_json_deeper_than(R"([{"a": 1}, [2], {"b": {}}])", 3));
  EXPECT_TRUE(is_json_deeper_than(R"([{"a": 1}, [2], {"b": {}}])", 2));
  EXPECT_FALSE(is_json_deeper_than(R"(["[[[[", "\"[[[[", "\\", "[["])", 1));
  EXPECT_TRUE(is_json_deeper_than(R"(["\\", [1]])", 1)) << "the string has ended behind the backslashes";
}

TEST(JsonDepth, JudgesWhatIsNoJsonByItsBrackets) {
  EXPECT_FALSE(is_json_deeper_than("]]]][", 1));
  EXPECT_TRUE(is_json_deeper_than("]]]][[", 1));
  EXPECT_TRUE(is_json_deeper_than("[[]", 1));
  EXPECT_FALSE(is_json_deeper_than(R"("unfinished \)", 0));
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
