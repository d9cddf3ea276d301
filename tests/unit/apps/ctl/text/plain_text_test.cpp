#include "text/plain_text.h"

#include <ostream>

#include <gtest/gtest.h>

#include "mura_common/text.h"

namespace tavi::ctl {
namespace {

struct text_case {
  char const* name;
  std::string given;
  std::string shown;
};

void PrintTo(text_case const& row, std::ostream* out) {
  *out << row.name;
}

class TextFromOutside : public testing::TestWithParam<text_case> {};

TEST_P(TextFromOutside, CannotActOnATerminal) {
  EXPECT_EQ(escape_text(GetParam().given), GetParam().shown);
}

INSTANTIATE_TEST_SUITE_P(
    EveryKind, TextFromOutside,
    testing::Values(text_case{"Plain", "log_1.tar.gz", "log_1.tar.gz"}, text_case{"Empty", "", ""},
                    text_case{"Blanks", "a b", "a b"}, text_case{"EscapeSequence", "\x1b[2J", "\\x1b[2J"},
                    text_case{"LineEnd", "a\nb\r", "a\\x0ab\\x0d"}, text_case{"Tab", "a\tb", "a\\x09b"},
                    text_case{"ZeroByte", std::string("a\0b", 3), "a\\x00b"},
                    text_case{"Bell", "\a", "\\x07"}, text_case{"Delete", "\x7f", "\\x7f"},
                    text_case{"Backslash", "\\x1b", "\\\\x1b"},
                    text_case{"ControlInTwoBytes",
                              "\xc2\x9b"
                              "31m",
                              "\\u009b31m"},
                    text_case{"NoBreakSpaceIsNoControl", "\xc2\xa0", "\xc2\xa0"},
                    text_case{"Umlaut", "B\xc3\xa4r", "B\xc3\xa4r"},
                    text_case{"Euro", "\xe2\x82\xac", "\xe2\x82\xac"},
                    text_case{"FourBytes", "\xf0\x9f\x94\x8c", "\xf0\x9f\x94\x8c"},
                    text_case{"RightToLeftOverride",
                              "a\xe2\x80\xae"
                              "gpj.exe",
                              "a\\u202egpj.exe"},
                    text_case{"ZeroWidthSpace", "\xe2\x80\x8b", "\\u200b"},
                    text_case{"LineSeparator", "\xe2\x80\xa8", "\\u2028"},
                    text_case{"ByteOrderMark", "\xef\xbb\xbf", "\\ufeff"},
                    text_case{"TagCharacter", "\xf3\xa0\x80\x81", "\\U000e0001"},
                    text_case{"LooseContinuation", "a\x80", "a\\x80"},
                    text_case{"CutCharacter", "\xe2\x82", "\\xe2\\x82"},
                    text_case{"CutBeforeAnother",
                              "\xe2"
                              "ab",
                              "\\xe2"
                              "ab"},
                    text_case{"TooLongForm", "\xc0\x9b", "\\xc0\\x9b"},
                    text_case{"TooLongInThree", "\xe0\x82\x9b", "\\xe0\\x82\\x9b"},
                    text_case{"Surrogate", "\xed\xa0\x80", "\\xed\\xa0\\x80"},
                    text_case{"BeyondUnicode", "\xf4\x90\x80\x80", "\\xf4\\x90\\x80\\x80"},
                    text_case{"NeverInUtf8", "\xff\xfe", "\\xff\\xfe"}),
    [](auto const& row) { return std::string(row.param.name); });

TEST(TextFromOutside, IsUtf8AfterwardsWhateverItWas) {
  for (int first = 0; first < 256; ++first) {
    for (int second = 0; second < 256; ++second) {
      std::string const given = {static_cast<char>(first), static_cast<char>(second), 'a'};
      EXPECT_TRUE(mura_common::is_utf8(escape_text(given))) << first << ' ' << second;
    }
  }
}

TEST(Width, CountsCharactersInsteadOfBytes) {
  EXPECT_EQ(width_of(""), 0U);
  EXPECT_EQ(width_of("abc"), 3U);
  EXPECT_EQ(width_of("B\xc3\xa4r"), 3U);
  EXPECT_EQ(width_of("\xe2\x82\xac"), 1U);
}

TEST(WrapText, BreaksBetweenWordsAtTheWidth) {
  EXPECT_EQ(wrap_text("one two three", 7), "one two\nthree");
  EXPECT_EQ(wrap_text("one two three", 6), "one\ntwo\nthree");
  EXPECT_EQ(wrap_text("one two three", 13), "one two three");
  EXPECT_EQ(wrap_text("endless on", 3), "endless\non");
  EXPECT_EQ(wrap_text("", 5), "");
  EXPECT_EQ(wrap_text("\u00e4\u00f6\u00fc x", 5), "\u00e4\u00f6\u00fc x");
}

TEST(FitToWidth, TakesWholeCharactersFromTheBeginning) {
  EXPECT_EQ(fit_to_width("abc", 3), "abc");
  EXPECT_EQ(fit_to_width("abc", 2), "ab");
  EXPECT_EQ(fit_to_width("abc", 0), "");
  EXPECT_EQ(fit_to_width("", 2), "");
  EXPECT_EQ(fit_to_width("B\xc3\xa4r", 2), "B\xc3\xa4");
  EXPECT_EQ(fit_to_width("B\xc3\xa4", 2), "B\xc3\xa4");
}

}  // namespace
}  // namespace tavi::ctl
