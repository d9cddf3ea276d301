#include "mura_common/ipc_codec.h"

#include <cstdint>
#include <functional>
#include <list>
#include <optional>
#include <string>
#include <vector>

#include <gmock/gmock.h>

namespace {

using mura_common::decode;
using mura_common::encode;
using mura_common::malformed_value;
using nlohmann::json;

enum class colour : unsigned int { red = 0, blue = 7 };
enum class mood : std::int8_t { low = -1, high = 1 };

struct point {
  int x = 0;
  std::optional<std::string> label;
  bool operator==(point const&) const = default;
};

struct path {
  std::vector<point> points;
  colour shade = colour::red;
  bool operator==(path const&) const = default;
};

}  // namespace

template <>
struct mura_common::record_fields<point> {
  static constexpr auto list =
      std::make_tuple(record_field{"x", &point::x}, record_field{"label", &point::label});
};

template <>
struct mura_common::record_fields<path> {
  static constexpr auto list =
      std::make_tuple(record_field{"points", &path::points}, record_field{"shade", &path::shade});
};

namespace {

template <typename T>
void expect_both_ways(T const& value, char const* form) {
  EXPECT_EQ(encode(value), json::parse(form));
  EXPECT_EQ(decode<T>(json::parse(form)), value);
}

TEST(Codec, GivesEachTypeOneFormForBothDirections) {
  expect_both_ways(true, "true");
  expect_both_ways(-5, "-5");
  expect_both_ways(4294967295U, "4294967295");
  expect_both_ways(std::uint64_t{18446744073709551615U}, "18446744073709551615");
  expect_both_ways(std::numeric_limits<std::int64_t>::min(), "-9223372036854775808");
  expect_both_ways(std::uint8_t{255}, "255");
  expect_both_ways(std::string("text \xc3\xa4"), "\"text \xc3\xa4\"");
  expect_both_ways(std::string(), "\"\"");
  expect_both_ways(std::chrono::seconds(-90), "-90");
  expect_both_ways(colour::blue, "7");
  expect_both_ways(mood::low, "-1");
  expect_both_ways(std::optional<int>(3), "3");
  expect_both_ways(std::optional<int>(), "null");
  expect_both_ways(std::vector<std::string>{"a", "b"}, R"(["a","b"])");
  expect_both_ways(std::list<bool>{}, "[]");
  expect_both_ways(std::vector<bool>{true, false}, "[true,false]");
  expect_both_ways(point{2, "here"}, R"({"x":2,"label":"here"})");
  expect_both_ways(path{{{1, std::nullopt}, {2, "b"}}, colour::blue},
                   R"({"points":[{"x":1,"label":null},{"x":2,"label":"b"}],"shade":7})");
}

TEST(Codec, TakesEveryNumberForAnEnumeration) {
  EXPECT_EQ(decode<colour>(1234), static_cast<colour>(1234));
}

TEST(Codec, IgnoresFurtherFieldsOfARecord) {
  EXPECT_EQ(decode<point>(json::parse(R"({"x":1,"label":null,"later":[{}]})")), (point{1, std::nullopt}));
}

struct malformed_case {
  char const* name;
  std::function<void(json const&)> decode_it;
  char const* form;
  char const* expected_text;
};

void PrintTo(malformed_case const& row, std::ostream* out) {
  *out << row.name;
}

template <typename T>
malformed_case wrong(char const* name, char const* form, char const* text) {
  return {name, [](json const& value) { static_cast<void>(decode<T>(value)); }, form, text};
}

class MalformedValue : public testing::TestWithParam<malformed_case> {};

TEST_P(MalformedValue, IsRefusedWithWhatWasExpected) {
  try {
    GetParam().decode_it(json::parse(GetParam().form));
    FAIL() << "taken: " << GetParam().form;
  } catch (malformed_value const& error) {
    EXPECT_THAT(error.what(), testing::HasSubstr(GetParam().expected_text));
  }
}

INSTANTIATE_TEST_SUITE_P(
    EveryType, MalformedValue,
    testing::Values(wrong<bool>("BoolFromNumber", "1", "true or false"),
                    wrong<bool>("BoolFromText", "\"true\"", "true or false"),
                    wrong<unsigned int>("UnsignedFromNegative", "-1", "from 0 to 4294967295"),
                    wrong<unsigned int>("UnsignedFromFraction", "1.0", "whole number"),
                    wrong<unsigned int>("UnsignedFromExponent", "1e3", "whole number"),
                    wrong<unsigned int>("UnsignedFromText", "\"1\"", "whole number"),
                    wrong<unsigned int>("UnsignedFromBool", "true", "whole number"),
                    wrong<unsigned int>("UnsignedFromNull", "null", "whole number"),
                    wrong<unsigned int>("UnsignedOneAbove", "4294967296", "from 0 to 4294967295"),
                    wrong<int>("IntOneAbove", "2147483648", "to 2147483647"),
                    wrong<int>("IntOneBelow", "-2147483649", "from -2147483648"),
                    wrong<std::uint8_t>("ByteOneAbove", "256", "from 0 to 255"),
                    wrong<std::int64_t>("LongAbove", "18446744073709551615", "9223372036854775807"),
                    wrong<std::uint64_t>("UnsignedLongAbove", "18446744073709551616", "whole number"),
                    wrong<colour>("EnumFromText", "\"red\"", "whole number"),
                    wrong<mood>("EnumAbove", "128", "to 127"),
                    wrong<std::string>("TextFromNumber", "1", "a text"),
                    wrong<std::string>("TextFromNull", "null", "a text"),
                    wrong<std::chrono::seconds>("SecondsFromFraction", "1.5", "whole number"),
                    wrong<std::optional<int>>("OptionalFromText", "\"\"", "whole number"),
                    wrong<std::vector<int>>("VectorFromObject", "{}", "an array"),
                    wrong<std::vector<int>>("VectorWithText", "[1,\"2\"]", "whole number"),
                    wrong<std::list<bool>>("ListFromNull", "null", "an array"),
                    wrong<point>("RecordFromArray", "[]", "an object"),
                    wrong<point>("RecordLacksField", R"({"label":null})", "field \"x\" is missing"),
                    wrong<point>("RecordLacksOptionalField", R"({"x":1})", "field \"label\" is missing"),
                    wrong<path>("InnerFieldIsNamed", R"({"points":[{"x":"1","label":null}],"shade":0})",
                                "field \"points\": field \"x\"")),
    [](auto const& row) { return row.param.name; });

TEST(MalformedText, IsNotRepeatedInTheError) {
  try {
    static_cast<void>(decode<unsigned int>("secret"));
    FAIL();
  } catch (malformed_value const& error) {
    EXPECT_THAT(error.what(), testing::Not(testing::HasSubstr("secret")));
  }
}

}  // namespace
