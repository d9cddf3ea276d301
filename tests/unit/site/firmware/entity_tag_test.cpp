#include "firmware/entity_tag.h"

#include <ostream>
#include <string>

#include <gtest/gtest.h>

namespace tavi::site {
namespace {

constexpr auto present_tag = "\"5-a,b\"";

TEST(RangeCondition, IsMetByTheVeryTagOnly) {
  EXPECT_TRUE(is_range_condition_met(present_tag, present_tag));
  for (auto const* other : {"", "\"other\"", "5-a,b", "W/\"5-a,b\"", "*", "\"5-a,b\", \"x\"", "\"5-a,b",
                            "Fri, 20 Nov 2026 12:00:00 GMT"}) {
    EXPECT_FALSE(is_range_condition_met(other, present_tag)) << other;
  }
}

struct list_case {
  char const* situation;
  std::string field;
  bool is_matched;
  bool is_matched_weakly;
};

void PrintTo(list_case const& row, std::ostream* out) {
  *out << row.situation;
}

class TagListTest : public testing::TestWithParam<list_case> {};

TEST_P(TagListTest, NamesTheTagAsTheRowSays) {
  EXPECT_EQ(is_tag_matched(GetParam().field, present_tag), GetParam().is_matched);
  EXPECT_EQ(is_tag_matched_weakly(GetParam().field, present_tag), GetParam().is_matched_weakly);
}

INSTANTIATE_TEST_SUITE_P(
    Situations, TagListTest,
    testing::Values(list_case{"the tag", "\"5-a,b\"", true, true}, list_case{"any", "*", true, true},
                    list_case{"any, with blanks", " * ", true, true},
                    list_case{"the tag, weak", "W/\"5-a,b\"", false, true},
                    list_case{"last of several", "\"x\", W/\"y\" ,\t\"5-a,b\"", true, true},
                    list_case{"weak before strong", "W/\"5-a,b\",\"5-a,b\"", true, true},
                    list_case{"empty elements", ",, \"5-a,b\",", true, true},
                    list_case{"no field", "", false, false}, list_case{"another", "\"x\"", false, false},
                    list_case{"empty tag", "\"\"", false, false},
                    list_case{"without quotes", "5-a,b", false, false},
                    list_case{"without its last quote", "\"5-a,b", false, false},
                    list_case{"behind what is no tag", "x \"5-a,b\"", false, false},
                    list_case{"lower-case weakness", "w/\"5-a,b\"", false, false},
                    list_case{"weakness alone", "W/", false, false},
                    list_case{"any among others", "\"x\", *", false, false},
                    list_case{"a part of it", "\"5-a\"", false, false},
                    list_case{"any bytes", "\xff\"\0", false, false}));

}  // namespace
}  // namespace tavi::site
