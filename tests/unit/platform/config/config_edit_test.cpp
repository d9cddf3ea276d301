#include "config/config_edit.h"

#include <cstdint>
#include <limits>
#include <ostream>
#include <string>
#include <vector>

#include <gtest/gtest.h>

namespace mura_common {
namespace {

using namespace std::string_literals;

struct edit_row {
  char const* name;
  std::string text;
  std::string key;
  stored_value value;
  std::string expected;
};

void PrintTo(edit_row const& row, std::ostream* out) {
  *out << row.name;
}

std::string name_of(testing::TestParamInfo<edit_row> const& info) {
  return info.param.name;
}

stored_value number(std::int64_t value) {
  return value;
}

class EditOfOneValue : public testing::TestWithParam<edit_row> {};

TEST_P(EditOfOneValue, ReplacesThatValueAndNothingElse) {
  auto const& row = GetParam();
  std::string error;
  auto const changed = replace_config_value(row.text, row.key, row.value, error);
  ASSERT_TRUE(changed) << error;
  EXPECT_EQ(*changed, row.expected);
}

std::vector<edit_row> const integer_rows{
    {"PlainValue", "[a]\nb = 5\n", "a.b", number(17), "[a]\nb = 17\n"},
    {"NoNewlineAtTheEnd", "[a]\nb = 5", "a.b", number(17), "[a]\nb = 17"},
    {"CarriageReturns", "[a]\r\nb = 5\r\nc = 6\r\n", "a.b", number(17), "[a]\r\nb = 17\r\nc = 6\r\n"},
    {"LastCarriageReturnWithoutLineFeed", "b = 5\r", "b", number(17), "b = 17\r"},
    {"MixedLineEnds", "[a]\r\n\nb = 5\nc = 6\r\n", "a.c", number(7), "[a]\r\n\nb = 5\nc = 7\r\n"},
    {"TopLevelKey", "b = 5\n[a]\nb = 5\n", "b", number(6), "b = 6\n[a]\nb = 5\n"},
    {"DeepKey", "[a.b]\nc = 1\n[a]\nc = 1\n", "a.b.c", number(2), "[a.b]\nc = 2\n[a]\nc = 1\n"},
    {"OddSpacing", "[ a ]\n\tb\t=\t5\t# five\n", "a.b", number(0), "[ a ]\n\tb\t=\t0\t# five\n"},
    {"NoSpacing", "[a]\nb=5#five\n", "a.b", number(123456), "[a]\nb=123456#five\n"},
    {"SignedValue", "b = +5\n", "b", number(6), "b = 6\n"},
    {"NegativeValue", "b = -5\n", "b", number(6), "b = 6\n"},
    {"ZeroValue", "b = 0\n", "b", number(6), "b = 6\n"},
    {"Underscores", "b = 1_000_000 # 1_000_000\n", "b", number(7), "b = 7 # 1_000_000\n"},
    {"Hexadecimal", "b = 0xFF_ff # 0xFFff\n", "b", number(7), "b = 7 # 0xFFff\n"},
    {"Octal", "b = 0o755\n", "b", number(7), "b = 7\n"},
    {"Binary", "b = 0b1010\n", "b", number(7), "b = 7\n"},
    {"LargestInteger", "b = 1\n", "b", number(std::numeric_limits<std::int64_t>::max()),
     "b = 9223372036854775807\n"},
    {"InlineTable", "a = { b = 5, c = 5 } # b = 5\n", "a.c", number(6), "a = { b = 5, c = 6 } # b = 5\n"},
    {"InlineTableInTable", "[limits.a]\nb = { min = 0, max = 10 }\n", "limits.a.b.max", number(20),
     "[limits.a]\nb = { min = 0, max = 20 }\n"},
    {"NestedInlineTables", "a = { b = { c = 1, d = 1 }, c = 1 }\n", "a.b.d", number(2),
     "a = { b = { c = 1, d = 2 }, c = 1 }\n"},
    {"DottedKey", "a.b = 5\na.c = 5\n", "a.c", number(6), "a.b = 5\na.c = 6\n"},
    {"DottedKeyInTable", "[x]\na.b = 5\n[y]\na.b = 5\n", "y.a.b", number(6), "[x]\na.b = 5\n[y]\na.b = 6\n"},
    {"QuotedKey", "[\"a\"]\n'b' = 5\n", "a.b", number(6), "[\"a\"]\n'b' = 6\n"},
    {"QuotedKeyHoldingADotIsAnother", "\"a.b\" = 5\n[a]\nb = 5\n", "a.b", number(6),
     "\"a.b\" = 5\n[a]\nb = 6\n"},
    {"CommentsWithTheSameText", "# b = 5\n[a] # b = 5\n#b = 5\nb = 5 # b = 5\n# b = 5\n", "a.b", number(6),
     "# b = 5\n[a] # b = 5\n#b = 5\nb = 6 # b = 5\n# b = 5\n"},
    {"SameEntryInOtherTables", "[x]\nb = 5\n[a]\nb = 5\n[y]\nb = 5\n", "a.b", number(6),
     "[x]\nb = 5\n[a]\nb = 6\n[y]\nb = 5\n"},
    {"StringThatLooksLikeIt", "t = \"\"\"\n[a]\nb = 5\n\"\"\"\n[a]\nb = 5\n", "a.b", number(6),
     "t = \"\"\"\n[a]\nb = 5\n\"\"\"\n[a]\nb = 6\n"},
    {"ArraysAround", "x = [5, 5,\n  5]\nb = 5\ny = [ { b = 5 } ]\n", "b", number(6),
     "x = [5, 5,\n  5]\nb = 6\ny = [ { b = 5 } ]\n"},
    {"ArraysOfTablesAround", "[[x]]\nb = 5\n[[x]]\nb = 5\n[a]\nb = 5\n", "a.b", number(6),
     "[[x]]\nb = 5\n[[x]]\nb = 5\n[a]\nb = 6\n"},
    {"OtherKindsAround", "n = nan\nf = 1e3\nd = 2026-11-20T10:00:00Z\nt = true\nb = 5\n", "b", number(6),
     "n = nan\nf = 1e3\nd = 2026-11-20T10:00:00Z\nt = true\nb = 6\n"},
    {"ByteOrderMark",
     "\xEF\xBB\xBF"
     "b = 5\n",
     "b", number(6),
     "\xEF\xBB\xBF"
     "b = 6\n"},
    {"CommentBeyondAsciiBefore", "# Grüße, 日本\nb = 5 # ß\n", "b", number(6), "# Grüße, 日本\nb = 6 # ß\n"},
};
INSTANTIATE_TEST_SUITE_P(Integers, EditOfOneValue, testing::ValuesIn(integer_rows), name_of);

std::vector<edit_row> const string_rows{
    {"PlainString", "b = \"old\" # \"old\"\n", "b", "new"s, "b = \"new\" # \"old\"\n"},
    {"LiteralString", "b = 'o\\ld'\n", "b", "new"s, "b = \"new\"\n"},
    {"StringHoldingAComment", "b = \"a # b\" # c\n", "b", "new"s, "b = \"new\" # c\n"},
    {"StringHoldingQuotes", "b = \"a \\\" b\"\nc = \"x\"\n", "b", "new"s, "b = \"new\"\nc = \"x\"\n"},
    {"MultiLineString", "b = \"\"\"one\n  two\n\"\"\" # end\nc = 1\n", "b", "new"s,
     "b = \"new\" # end\nc = 1\n"},
    {"MultiLineLiteral", "b = '''\none\n'two'\n'''\nc = 1\n", "b", "new"s, "b = \"new\"\nc = 1\n"},
    {"EmptyToFilled", "b = \"\"\n", "b", "new"s, "b = \"new\"\n"},
    {"FilledToEmpty", "b = \"old\"\n", "b", ""s, "b = \"\"\n"},
    {"QuotesAndBackslashes", "b = ''\n", "b", "C:\\x \"y\""s, "b = \"C:\\\\x \\\"y\\\"\"\n"},
    {"WhiteSpaceEscapes", "b = ''\n", "b", "\b\t\n\f\r"s, "b = \"\\b\\t\\n\\f\\r\"\n"},
    {"ControlCharacters", "b = ''\n", "b", "\x01\x1f\x7f\0"s, "b = \"\\u0001\\u001F\\u007F\\u0000\"\n"},
    {"BeyondAscii", "b = ''\n", "b", "Zürich 日本 😀"s, "b = \"Zürich 日本 😀\"\n"},
    {"TextThatLooksLikeToml", "b = ''\nc = 1\n", "b", "\"\nc = 2 #"s, "b = \"\\\"\\nc = 2 #\"\nc = 1\n"},
};
INSTANTIATE_TEST_SUITE_P(Strings, EditOfOneValue, testing::ValuesIn(string_rows), name_of);

std::vector<edit_row> const unchanged_rows{
    {"HexadecimalOfTheSameValue", "b = 0xFF\n", "b", number(255), "b = 0xFF\n"},
    {"UnderscoresOfTheSameValue", "b = 1_0\n", "b", number(10), "b = 1_0\n"},
    {"LiteralStringOfTheSameText", "b = 'x'\n", "b", "x"s, "b = 'x'\n"},
};
INSTANTIATE_TEST_SUITE_P(EqualValuesKeepTheirForm, EditOfOneValue, testing::ValuesIn(unchanged_rows),
                         name_of);

struct refusal_row {
  char const* name;
  std::string text;
  std::string key;
  stored_value value;
  std::string error;
};

void PrintTo(refusal_row const& row, std::ostream* out) {
  *out << row.name;
}

class RefusedEdit : public testing::TestWithParam<refusal_row> {};

TEST_P(RefusedEdit, SaysWhy) {
  auto const& row = GetParam();
  std::string error;
  EXPECT_EQ(replace_config_value(row.text, row.key, row.value, error), std::nullopt);
  EXPECT_NE(error.find(row.error), std::string::npos) << "the error was: " << error;
  EXPECT_EQ(error.find('\n'), std::string::npos) << error;
}

std::vector<refusal_row> const refusal_rows{
    {"NoToml", "[a]\nb = \n", "a.b", number(1), "line 2"},
    {"DuplicateKey", "b = 1\nb = 2\n", "b", number(3), "line"},
    {"KeyMissing", "[a]\nc = 1\n", "a.b", number(1), "there is no 'a.b'"},
    {"TableMissing", "b = 1\n", "a.b", number(1), "there is no 'a.b'"},
    {"KeyInACommentOnly", "[a]\n# b = 1\n", "a.b", number(1), "there is no 'a.b'"},
    {"EmptyText", "", "a", number(1), "there is no 'a'"},
    {"EmptyKey", "a = 1\n", "", number(1), "there is no ''"},
    {"KeyWithAnEmptyPart", "[a]\nb = 1\n", "a..b", number(1), "there is no 'a..b'"},
    {"QuotedKeyHoldingADot", "\"a.b\" = 1\n", "a.b", number(2), "there is no 'a.b'"},
    {"ElementOfAnArray", "a = [1, 2]\n", "a.0", number(2), "there is no 'a.0'"},
    {"EntryInAnArrayOfTables", "[[a]]\nb = 1\n", "a.b", number(2), "there is no 'a.b'"},
    {"IntegerToString", "b = 1\n", "b", "1"s, "another type (integer)"},
    {"StringToInteger", "b = '1'\n", "b", number(1), "another type (string)"},
    {"Table", "[a]\nb = 1\n", "a", number(1), "another type (table)"},
    {"Array", "a = [1]\n", "a", number(1), "another type (array)"},
    {"Boolean", "a = true\n", "a", number(1), "another type (boolean)"},
    {"FloatingPoint", "a = 1.0\n", "a", number(1), "another type (floating-point number)"},
    {"Date", "a = 2026-11-20\n", "a", number(1), "another type (date or time)"},
    {"IntegerBeyond64Bits", "a = 9223372036854775808\n", "a", number(1), "integer beyond 64 bits"},
    {"TextThatIsNotUtf8", "b = ''\n", "b", "\xff\xfe"s, "'b' cannot be written"},
    {"TextThatEndsInsideACharacter", "b = ''\n", "b", "x\xC3"s, "'b' cannot be written"},
    {"TextThatNoLongerFits", "b = ''\n", "b", std::string(config_size_limit, 'x'), "expected at most 65536"},
};
INSTANTIATE_TEST_SUITE_P(Situations, RefusedEdit, testing::ValuesIn(refusal_rows),
                         [](auto const& row) { return std::string(row.param.name); });

TEST(EditOfManyValues, EveryByteStringComesBackOrIsRefused) {
  for (int code = 0; code < 256; ++code) {
    std::string const value = "<" + std::string(1, static_cast<char>(code)) + ">";
    std::string error;
    auto const changed = replace_config_value("b = 'old' # kept\n", "b", value, error);
    ASSERT_EQ(changed.has_value(), code < 0x80) << "byte " << code << ": " << error;
    if (changed) {
      auto const document = config_document::parse(*changed, error);
      ASSERT_TRUE(document) << error;
      EXPECT_EQ(document->find("b")->value, stored_value(value)) << "byte " << code;
    }
  }
}

}  // namespace
}  // namespace mura_common
