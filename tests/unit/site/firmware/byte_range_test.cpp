#include "firmware/byte_range.h"

#include <ostream>
#include <string>

#include <gtest/gtest.h>

namespace tavi::site::firmware {

void PrintTo(range_finding const& found, std::ostream* out) {
  constexpr char const* names[] = {"whole", "part", "unsatisfiable"};
  *out << names[static_cast<int>(found.kind)] << " " << found.range.first << "+" << found.range.count;
}

namespace {

constexpr std::uint64_t size = 1000;

struct range_case {
  char const* situation;
  std::string field;
  range_finding found;
};

void PrintTo(range_case const& row, std::ostream* out) {
  *out << row.situation << ": " << row.field.substr(0, 60);
}

range_case whole(char const* situation, std::string const& field) {
  return {situation, field, {}};
}

range_case part(char const* situation, std::string const& field, std::uint64_t first, std::uint64_t count) {
  return {situation, field, {range_kind::part, {first, count}}};
}

range_case unsatisfiable(char const* situation, std::string const& field) {
  return {situation, field, {range_kind::unsatisfiable, {}}};
}

class ByteRangeTest : public testing::TestWithParam<range_case> {};

TEST_P(ByteRangeTest, IsAppliedToAFileOfAThousandBytes) {
  EXPECT_EQ(find_range(GetParam().field, size), GetParam().found);
}

std::string const huge = "99999999999999999999999999";

INSTANTIATE_TEST_SUITE_P(Parts, ByteRangeTest,
                         testing::Values(part("first byte", "bytes=0-0", 0, 1),
                                         part("first bytes", "bytes=0-499", 0, 500),
                                         part("in the middle", "bytes=200-299", 200, 100),
                                         part("last byte", "bytes=999-999", 999, 1),
                                         part("to the end", "bytes=1-", 1, 999),
                                         part("everything", "bytes=0-", 0, 1000),
                                         part("beyond the end", "bytes=900-1000", 900, 100),
                                         part("far beyond the end", "bytes=900-" + huge, 900, 100),
                                         part("end of the file", "bytes=-10", 990, 10),
                                         part("end as long as the file", "bytes=-1000", 0, 1000),
                                         part("end longer than the file", "bytes=-1001", 0, 1000),
                                         part("end longer than any file", "bytes=-" + huge, 0, 1000),
                                         part("unit in capitals", "BYTES=5-6", 5, 2),
                                         part("blanks around it", "bytes= 5-6\t", 5, 2),
                                         part("list with empty elements", "bytes=,5-6, ,", 5, 2),
                                         part("leading zeros", "bytes=0005-06", 5, 2)));

INSTANTIATE_TEST_SUITE_P(Unsatisfiable, ByteRangeTest,
                         testing::Values(unsatisfiable("begins at the end", "bytes=1000-"),
                                         unsatisfiable("begins and ends behind the end", "bytes=1000-1001"),
                                         unsatisfiable("begins beyond 64 bits", "bytes=" + huge + "-"),
                                         unsatisfiable("no bytes at the end", "bytes=-0")));

INSTANTIATE_TEST_SUITE_P(
    AnsweredWhole, ByteRangeTest,
    testing::Values(whole("no field", ""), whole("no unit", "0-5"), whole("no list", "bytes"),
                    whole("empty list", "bytes="), whole("only commas", "bytes=,,"),
                    whole("another unit", "lines=0-5"), whole("longer unit", "bytess=0-5"),
                    whole("only a dash", "bytes=-"), whole("no dash", "bytes=5"),
                    whole("backwards", "bytes=6-5"), whole("a sign", "bytes=+5-6"),
                    whole("two dashes", "bytes=5--6"), whole("a blank inside", "bytes=5 -6"),
                    whole("letters", "bytes=a-b"), whole("hexadecimal", "bytes=0x5-6"),
                    whole("a fraction", "bytes=0.5-6"), whole("good and bad", "bytes=0-5,x"),
                    whole("two parts", "bytes=0-5,7-8"),
                    whole(
                        "many parts", "bytes=" +
                                          [] {
                                            std::string list;
                                            for (int count = 0; count < 1000; ++count) {
                                              list += "0-,";
                                            }
                                            return list;
                                          }()),
                    whole("zero byte", std::string("bytes=0\0-5", 10)), whole("no text", "\xff\xfe=0-5")));

TEST(ByteRangeOfAnEmptyFile, HasNoPart) {
  EXPECT_EQ(find_range("bytes=0-", 0).kind, range_kind::unsatisfiable);
  EXPECT_EQ(find_range("bytes=0-0", 0).kind, range_kind::unsatisfiable);
  EXPECT_EQ(find_range("bytes=-5", 0).kind, range_kind::whole);
  EXPECT_EQ(find_range("", 0).kind, range_kind::whole);
}

TEST(ByteRangeOfAHugeFile, DoesNotOverflow) {
  constexpr auto most = std::uint64_t{1} << 62U;
  EXPECT_EQ(find_range("bytes=0-18446744073709551615", most), (range_finding{range_kind::part, {0, most}}));
  EXPECT_EQ(find_range("bytes=-18446744073709551615", most), (range_finding{range_kind::part, {0, most}}));
}

}  // namespace
}  // namespace tavi::site::firmware
