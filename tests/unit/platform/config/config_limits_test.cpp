#include "config/config_limits.h"

#include <ostream>
#include <string>
#include <vector>

#include <gtest/gtest.h>

namespace mura_common {
namespace {

std::optional<config_limits> limits_in(std::string const& text, std::string const& key, std::string& error) {
  auto const document = config_document::parse(text, error);
  EXPECT_TRUE(document) << error;
  return document ? limits_of(*document, key, error) : std::nullopt;
}

struct limits_row {
  char const* name;
  std::string text;
  std::string key;
  std::vector<std::int64_t> admitted;
  std::vector<std::int64_t> refused;
};

void PrintTo(limits_row const& row, std::ostream* out) {
  *out << row.name;
}

class Limits : public testing::TestWithParam<limits_row> {};

TEST_P(Limits, AdmitWhatLiesBetweenThem) {
  std::string error;
  auto const limits = limits_in(GetParam().text, GetParam().key, error);
  ASSERT_TRUE(limits) << error;
  for (auto const value : GetParam().admitted) {
    EXPECT_TRUE(limits->is_met_by(value)) << value;
  }
  for (auto const value : GetParam().refused) {
    EXPECT_FALSE(limits->is_met_by(value)) << value;
  }
}

std::vector<limits_row> const rows{
    {"BothBounds", "[limits.a]\nb = { min = 3, max = 10 }\n", "a.b", {3, 4, 10}, {2, 11}},
    {"LowerBoundOnly", "[limits.a]\nb = { min = 3 }\n", "a.b", {3, 1LL << 62}, {2, -1}},
    {"UpperBoundOnly", "[limits.a]\nb = { max = 10 }\n", "a.b", {0, 10}, {11}},
    {"OneValue", "[limits.a]\nb = { min = 7, max = 7 }\n", "a.b", {7}, {6, 8}},
    {"OtherForms", "[limits.a]\nb.min = 0x3\n", "a.b", {3}, {2}},
    {"TopLevelKey", "[limits]\nb = { max = 10 }\n", "b", {10}, {11}},
    {"NoBounds", "[limits.a]\nb = {}\n", "a.b", {0, 1LL << 62}, {}},
    {"NoLimitsForTheKey", "[limits.a]\nc = { max = 1 }\n", "a.b", {2}, {}},
    {"NoLimitsAtAll", "[a]\nb = 1\n", "a.b", {2}, {}},
};
INSTANTIATE_TEST_SUITE_P(Forms, Limits, testing::ValuesIn(rows),
                         [](auto const& row) { return std::string(row.param.name); });

struct malformed_row {
  char const* name;
  std::string text;
  std::string error;
};

void PrintTo(malformed_row const& row, std::ostream* out) {
  *out << row.name;
}

class MalformedLimits : public testing::TestWithParam<malformed_row> {};

TEST_P(MalformedLimits, AreNoLimits) {
  std::string error;
  EXPECT_FALSE(limits_in(GetParam().text, "a.b", error));
  EXPECT_NE(error.find(GetParam().error), std::string::npos) << error;
}

std::vector<malformed_row> const malformed_rows{
    {"NumberInPlaceOfTheTable", "[limits.a]\nb = 5\n", "'limits.a.b' is of type integer"},
    {"ArrayInPlaceOfTheTable", "[limits.a]\nb = [0, 5]\n", "'limits.a.b' is of type array"},
    {"NumberInPlaceOfTheOuterTable", "[limits]\na = 5\n", "'limits.a' is of type integer"},
    {"NumberInPlaceOfAllLimits", "limits = 5\n", "'limits' is of type integer"},
    {"ArrayOfTables", "[[limits.a]]\nb = { min = 0 }\n", "'limits.a' is of type array"},
    {"BoundIsAString", "[limits.a]\nb = { min = '0' }\n", "'limits.a.b.min' is of type string"},
    {"BoundIsAFraction", "[limits.a]\nb = { max = 1.5 }\n", "'limits.a.b.max' is of type floating"},
    {"BoundIsTooLarge", "[limits.a]\nb = { max = 9223372036854775808 }\n", "integer beyond 64 bits"},
    {"UnknownName", "[limits.a]\nb = { min = 0, maximum = 5 }\n", "'limits.a.b.maximum' is unknown"},
    {"MinAboveMax", "[limits.a]\nb = { min = 6, max = 5 }\n", "min above max"},
};
INSTANTIATE_TEST_SUITE_P(Slips, MalformedLimits, testing::ValuesIn(malformed_rows),
                         [](auto const& row) { return std::string(row.param.name); });

}  // namespace
}  // namespace mura_common
