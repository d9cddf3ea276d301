#include "config/config_nesting.h"

#include <string>

#include <gtest/gtest.h>

namespace mura_common {
namespace {

std::string repeated(int count, std::string const& part) {
  std::string text;
  for (int done = 0; done < count; ++done) {
    text += part;
  }
  return text;
}

TEST(ConfigNesting, LimitsTheDepthOfBrackets) {
  EXPECT_TRUE(is_safe_to_parse("a = " + repeated(100, "[")));
  EXPECT_FALSE(is_safe_to_parse("a = " + repeated(101, "[")));
  EXPECT_FALSE(is_safe_to_parse("a = " + repeated(51, "[\n{")));
  EXPECT_TRUE(is_safe_to_parse(repeated(1000, "[table]\na = [{}]\n")));
}

TEST(ConfigNesting, LimitsThePartsOfAKey) {
  EXPECT_TRUE(is_safe_to_parse(repeated(100, "a.") + "a = 1"));
  EXPECT_FALSE(is_safe_to_parse(repeated(101, "a . ") + "a = 1"));
  EXPECT_FALSE(is_safe_to_parse("x = { " + repeated(101, "\"a\".") + "a = 1 }"));
  EXPECT_TRUE(is_safe_to_parse("a = [" + repeated(1000, "1.5, ") + "]"));
  EXPECT_TRUE(is_safe_to_parse(repeated(1000, "a.b = 1.5\n")));
}

TEST(ConfigNesting, LimitsTheDigitsOfBinaryIntegers) {
  EXPECT_TRUE(is_safe_to_parse("a = 0b" + repeated(62, "1")));
  EXPECT_FALSE(is_safe_to_parse("a = 0b" + repeated(63, "1")));
  EXPECT_FALSE(is_safe_to_parse("a = 0b" + repeated(63, "0_")));
}

TEST(ConfigNesting, CountsNothingInStringsAndComments) {
  auto const brackets = repeated(200, "[");
  EXPECT_TRUE(is_safe_to_parse("# " + brackets + "\na = 1"));
  EXPECT_TRUE(is_safe_to_parse("# " + brackets));
  EXPECT_TRUE(is_safe_to_parse("a = \"\\\"" + brackets + "\""));
  EXPECT_TRUE(is_safe_to_parse("a = '" + brackets + "\\'"));
  EXPECT_TRUE(is_safe_to_parse("a = \"\"\"\n\"" + brackets + "\"\"\""));
  EXPECT_TRUE(is_safe_to_parse("a = '''\n'" + brackets + "'''"));
}

TEST(ConfigNesting, GoesOnCountingAfterStringsAndComments) {
  auto const brackets = repeated(101, "[");
  EXPECT_FALSE(is_safe_to_parse("# '\n" + brackets));
  EXPECT_FALSE(is_safe_to_parse("a = 'x'" + brackets));
  EXPECT_FALSE(is_safe_to_parse("a = \"x\\\"\"" + brackets));
  EXPECT_FALSE(is_safe_to_parse("a = \"open\n" + brackets));
  EXPECT_FALSE(is_safe_to_parse("a = \"\"\"x\"\"\"" + brackets));
  EXPECT_FALSE(is_safe_to_parse("a = ''" + brackets));
}

TEST(ConfigNesting, EndsWithTheText) {
  for (auto const* const text : {"", "\"", "'", "\"\"\"", "'''", "\"\\", "#", "0b", "a = \"\"\"\\"}) {
    EXPECT_TRUE(is_safe_to_parse(text)) << text;
  }
}

}  // namespace
}  // namespace mura_common
