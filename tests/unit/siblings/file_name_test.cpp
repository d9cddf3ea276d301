#include "tavi/file_name.h"

#include <string>

#include <gtest/gtest.h>

namespace {

using tavi::file_name_limit;
using tavi::harmless_file_name;

struct name_case {
  char const* name;
  std::string given;
  std::string expected;
};

void PrintTo(name_case const& row, std::ostream* out) {
  *out << row.name;
}

class GivenFileName : public testing::TestWithParam<name_case> {};

TEST_P(GivenFileName, IsReducedToWhatIsHarmless) {
  EXPECT_EQ(harmless_file_name(GetParam().given), GetParam().expected);
}

INSTANTIATE_TEST_SUITE_P(
    EveryKind, GivenFileName,
    testing::Values(
        name_case{"Plain", "report.zip", "report.zip"}, name_case{"Empty", "", ""}, name_case{"Dot", ".", ""},
        name_case{"DotDot", "..", ""}, name_case{"ThreeDots", "...", "..."},
        name_case{"Hidden", ".profile", ".profile"}, name_case{"Folders", "a/b/report.zip", "report.zip"},
        name_case{"Absolute", "/etc/passwd", "passwd"}, name_case{"Climbing", "../../etc/shadow", "shadow"},
        name_case{"ClimbingOnly", "../..", ""}, name_case{"EndsWithSlash", "folder/", ""},
        name_case{"SlashOnly", "/", ""}, name_case{"Backslashes", "C:\\logs\\report.zip", "report.zip"},
        name_case{"BackslashClimbing", "..\\..\\x", "x"}, name_case{"BackslashDotDot", "a\\..", ""},
        name_case{"Mixed", "a/b\\c", "c"}, name_case{"MixedTheOtherWay", "a\\b/c", "c"},
        name_case{"EndsWithBackslash", "folder\\", ""}, name_case{"Blanks", "my report.zip", "my report.zip"},
        name_case{"Quotes", "it's \"this\".zip", "it's \"this\".zip"}, name_case{"Dash", "-rf", "-rf"},
        name_case{"Newline", "a\nb", ""}, name_case{"NewlineInFolderOnly", "a\n/b", "b"},
        name_case{"ZeroByte", std::string("a\0b", 3), ""},
        name_case{"ZeroByteAtTheEnd", std::string("a\0", 2), ""}, name_case{"LastControl", "a\x1f", ""},
        name_case{"Delete", "a\x7f", ""}, name_case{"Blank", " ", " "},
        name_case{"Utf8", "Bericht-\xc3\xa4.zip", "Bericht-\xc3\xa4.zip"},
        name_case{"NoUtf8", "\xff\xfe.zip", "\xff\xfe.zip"},
        name_case{"LooseContinuation", "\x80\x80", "\x80\x80"}),
    [](auto const& row) { return row.param.name; });

TEST(LongFileName, StaysWholeUpToTheLimit) {
  std::string const longest = std::string(file_name_limit - 4, 'a') + ".zip";
  EXPECT_EQ(harmless_file_name(longest), longest);
  EXPECT_EQ(harmless_file_name("folder/" + longest), longest);
}

TEST(LongFileName, KeepsItsBeginningAndEndingOneByteAboveTheLimit) {
  auto const name = harmless_file_name("begin" + std::string(file_name_limit - 8, 'a') + ".zip");
  EXPECT_EQ(name.size(), file_name_limit);
  EXPECT_EQ(name.substr(0, 5), "begin");
  EXPECT_EQ(name.substr(name.size() - 4), ".zip");
  EXPECT_NE(name.find("..."), std::string::npos);
}

TEST(LongFileName, IsStillRefusedForAControlCharacterInItsMiddle) {
  EXPECT_EQ(harmless_file_name(std::string(300, 'a') + "\n" + std::string(300, 'a')), "");
}

/// Whether the text is a run of whole characters of this one kind around one gap of plain dots.
bool has_whole_characters_only(std::string const& text, std::string const& character) {
  std::size_t at = 0;
  while (at < text.size()) {
    if (text.compare(at, character.size(), character) == 0) {
      at += character.size();
    } else if (text[at] == '.' || text[at] == 'x') {
      ++at;
    } else {
      return false;
    }
  }
  return true;
}

struct character_case {
  char const* name;
  char const* character;
};

class LongNameOfCharacters : public testing::TestWithParam<character_case> {};

TEST_P(LongNameOfCharacters, IsNeverCutInsideOne) {
  std::string const character = GetParam().character;
  for (std::size_t shift = 0; shift < 4; ++shift) {
    for (std::size_t tail = 0; tail < 4; ++tail) {
      std::string given(shift, 'x');
      while (given.size() < 300) {
        given += character;
      }
      auto const name = harmless_file_name(given.append(tail, 'x'));
      EXPECT_LE(name.size(), file_name_limit);
      EXPECT_GT(name.size(), file_name_limit - 10);
      EXPECT_TRUE(has_whole_characters_only(name, character)) << shift << ' ' << tail;
    }
  }
}

INSTANTIATE_TEST_SUITE_P(Widths, LongNameOfCharacters,
                         testing::Values(character_case{"TwoBytes", "\xc3\xa4"},
                                         character_case{"ThreeBytes", "\xe2\x82\xac"},
                                         character_case{"FourBytes", "\xf0\x9f\x94\x8c"}),
                         [](auto const& row) { return row.param.name; });

TEST(LongNameThatIsNoUtf8, IsShortenedAllTheSame) {
  EXPECT_LE(harmless_file_name(std::string(5000, '\x80')).size(), file_name_limit);
  EXPECT_GT(harmless_file_name(std::string(5000, '\x80')).size(), file_name_limit - 10);
  EXPECT_LE(harmless_file_name(std::string(5000, '\xff')).size(), file_name_limit);
}

}  // namespace
