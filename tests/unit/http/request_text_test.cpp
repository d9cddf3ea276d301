#include "request_text.h"

#include <optional>
#include <ostream>
#include <string>

#include <gtest/gtest.h>

namespace tavi::http {
namespace {

using std::string_literals::operator""s;

TEST(Trim, TakesBlanksOffBothEnds) {
  EXPECT_EQ(trim(" \t a b\t"), "a b");
  EXPECT_EQ(trim("a"), "a");
  EXPECT_EQ(trim(" \t"), "");
  EXPECT_EQ(trim(""), "");
  EXPECT_EQ(trim(", a,b ,", " ,"), "a,b");
}

struct decoding {
  char const* situation;
  std::string text;
  std::optional<std::string> decoded;
};

void PrintTo(decoding const& row, std::ostream* out) {
  *out << row.situation;
}

class PercentDecodeTest : public testing::TestWithParam<decoding> {};

TEST_P(PercentDecodeTest, GivesWhatTheRowSays) {
  EXPECT_EQ(percent_decode(GetParam().text), GetParam().decoded);
}

INSTANTIATE_TEST_SUITE_P(
    Situations, PercentDecodeTest,
    testing::Values(
        decoding{"empty", "", ""}, decoding{"plain", "a.zip", "a.zip"}, decoding{"blank", "a%20b", "a b"},
        decoding{"plus stays", "a+b", "a+b"}, decoding{"both letter cases", "%2f%2F", "//"},
        decoding{"zero byte", "a%00b", "a\0b"s}, decoding{"byte that is no UTF-8", "%ff", "\xff"},
        decoding{"decoded once only", "%2541", "%41"}, decoding{"percent at the end", "a%", std::nullopt},
        decoding{"one digit at the end", "a%4", std::nullopt}, decoding{"no digit", "%zz", std::nullopt},
        decoding{"second is no digit", "%4g", std::nullopt}, decoding{"sign", "%-1", std::nullopt},
        decoding{"blank in place of a digit", "% 1", std::nullopt}));

TEST(PercentEncodeTest, LeavesWhatCanStandInASegment) {
  EXPECT_EQ(percent_encode("12_X7-22.2~1.bin"), "12_X7-22.2~1.bin");
  EXPECT_EQ(percent_encode(""), "");
}

TEST(PercentEncodeTest, EscapesEveryOtherByteSoThatItComesBack) {
  EXPECT_EQ(percent_encode("a b/c?#%\xc3\xa9"), "a%20b%2Fc%3F%23%25%C3%A9");
  std::string every;
  for (int byte = 0; byte < 256; ++byte) {
    every += static_cast<char>(byte);
  }
  EXPECT_EQ(percent_decode(percent_encode(every)), every);
}

TEST(EscapeForLogTest, LeavesPrintableTextAlone) {
  EXPECT_EQ(escape_for_log("diag report (1).zip~"), "diag report (1).zip~");
}

TEST(EscapeForLogTest, NoByteOfAStrangerCanBeginANewLine) {
  EXPECT_EQ(escape_for_log("a\n[error] fake\r\x1b[31m\x7f\xc3\\"s),
            "a\\x0a[error] fake\\x0d\\x1b[31m\\x7f\\xc3\\x5c");
}

TEST(EscapeForLogTest, ShowsNoMoreThanTheLimit) {
  EXPECT_EQ(escape_for_log("12345", 5), "12345");
  EXPECT_EQ(escape_for_log("123456", 5), "12345...");
}

TEST(ShortenTokenTest, ShowsSixCharacters) {
  EXPECT_EQ(shorten_token("abcdefghijkl"), "abcdef...");
  EXPECT_EQ(shorten_token("ab"), "ab...");
  EXPECT_EQ(shorten_token(""), "...");
  EXPECT_EQ(shorten_token("\n\nabcdefg"), "\\x0a\\x0aabcd...");
}

}  // namespace
}  // namespace tavi::http
