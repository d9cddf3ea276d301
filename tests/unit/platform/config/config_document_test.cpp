#include "config/config_document.h"

#include <limits>
#include <string>
#include <vector>

#include <gtest/gtest.h>

namespace mura_common {
namespace {

config_document parsed(std::string const& text) {
  std::string error;
  auto document = config_document::parse(text, error);
  EXPECT_TRUE(document) << error;
  return document ? *document : config_document();
}

std::string refusal_of(std::string const& text) {
  std::string error;
  EXPECT_FALSE(config_document::parse(text, error));
  return error;
}

TEST(ConfigDocument, TellsWhereAnEntryStands) {
  std::string const text = "# first\r\n[a]\r\n  b = 0x1F # c\r\n";
  auto const document = parsed(text);
  auto const* const entry = document.find("a.b");
  ASSERT_NE(entry, nullptr);
  EXPECT_EQ(entry->value, stored_value(std::int64_t{31}));
  EXPECT_EQ(entry->kind, "integer");
  EXPECT_EQ(entry->source, "0x1F");
  EXPECT_EQ(entry->offset, text.find("0x1F"));
  EXPECT_EQ(entry->line, 3U);
}

TEST(ConfigDocument, ReadsIntegersOfTheFullRangeOnly) {
  auto const document = parsed(
      "max = 9223372036854775807\nmin = -9223372036854775808\n"
      "above = 9223372036854775808\nbelow = -9223372036854775809\n"
      "hex = 0xFFFFFFFFFFFFFFFF\nplus = +1_0\n");
  EXPECT_EQ(document.find("max")->value, stored_value(std::numeric_limits<std::int64_t>::max()));
  EXPECT_EQ(document.find("min")->value, stored_value(std::numeric_limits<std::int64_t>::min()));
  EXPECT_EQ(document.find("plus")->value, stored_value(std::int64_t{10}));
  for (auto const* const key : {"above", "below", "hex"}) {
    EXPECT_FALSE(document.find(key)->value.has_value()) << key;
    EXPECT_EQ(document.find(key)->kind, "integer beyond 64 bits") << key;
  }
}

TEST(ConfigDocument, ListsTheNamesOfOneTable) {
  auto const document = parsed("[a]\nz = 1\nb = { c = 1 }\n[a.d]\ne = 1\n[f]\ng = 1\n");
  EXPECT_EQ(document.names_in("a"), (std::vector<std::string>{"b", "d", "z"}));
  EXPECT_TRUE(document.names_in("nowhere").empty());
  EXPECT_TRUE(document.names_in("a.z").empty());
}

TEST(ConfigDocument, ListsTheKeysOfAllButTables) {
  auto const document = parsed("z = 1\n[a]\nb = { c = 1 }\nd = [1, { e = 2 }]\n[f]\n[g.h]\ni = 'x'\n");
  EXPECT_EQ(document.keys(), (std::vector<std::string>{"a.b.c", "a.d", "g.h.i", "z"}));
}

TEST(ConfigDocument, NoticesEveryDifferenceButTheOneAllowed) {
  auto const document = parsed("[a]\nb = 1\nc = [1, { d = 2 }]\n");
  EXPECT_TRUE(document.is_same_except_for("a.b", parsed("[a]\nb = 9\nc = [1, { d = 2 }]\n")));
  EXPECT_FALSE(document.is_same_except_for("a.x", parsed("[a]\nb = 9\nc = [1, { d = 2 }]\n")));
  EXPECT_FALSE(document.is_same_except_for("a.b", parsed("[a]\nb = 1\nc = [1, { d = 3 }]\n")));
  EXPECT_FALSE(document.is_same_except_for("a.b", parsed("[a]\nb = 1\nc = [1]\n")));
  EXPECT_FALSE(document.is_same_except_for("a.b", parsed("[a]\nb = 1\nc = [1, { d = 2 }]\nx = 1\n")));
}

TEST(ConfigDocument, NamesThePlaceOfAMistakeInOneLine) {
  for (std::string const text : {"a = 1\nb = \n", "a = 1\nb : 2\n", "a = 1\nb = 'open\n"}) {
    auto const error = refusal_of(text);
    EXPECT_EQ(error.find("line 2"), 0U) << error;
    EXPECT_EQ(error.find('\n'), std::string::npos) << error;
  }
}

TEST(ConfigDocument, RefusesWhatIsNotUtf8Anywhere) {
  for (std::string const broken : {"\xff", "\xC3", "\x80", "\xC0\x80", "\xED\xA0\x80", "\xF4\x90\x80\x80"}) {
    for (std::string const quote : {"#", "'", "\"", "\'\'\'", "\"\"\""}) {
      EXPECT_EQ(refusal_of("a = 1\nb = " + quote + broken + quote + "\n").find("line 2: not UTF-8"), 0U)
          << quote;
    }
  }
  EXPECT_EQ(refusal_of("a = 1\n# \xE2\x82").find("line 2: not UTF-8"), 0U);
}

TEST(ConfigDocument, RefusesTextBeyondItsSizeLimit) {
  EXPECT_TRUE(parsed("#" + std::string(config_size_limit - 1, 'x')).names_in("").empty());
  EXPECT_NE(refusal_of("#" + std::string(config_size_limit, 'x')).find("65537 bytes"), std::string::npos);
}

TEST(ConfigDocument, RefusesWhatWouldExhaustTheParser) {
  EXPECT_NE(refusal_of("a = " + std::string(30000, '[')).find("nested"), std::string::npos);
  std::string key = "a";
  for (int part = 0; part < 20000; ++part) {
    key += ".a";
  }
  EXPECT_NE(refusal_of(key + " = 1\n").find("nested"), std::string::npos);
  EXPECT_NE(refusal_of("a = 0b" + std::string(64, '1')).find("binary"), std::string::npos);
}

TEST(ConfigDocument, SurvivesTextCutOffAnywhere) {
  std::string const text =
      "\xEF\xBB\xBF# c\r\n[a.\"b\\u0041\"]\nc = \"\"\"x\\\n  y\\U0001F600\"\"\"\nd = [1, 2.5e3, { e = 0x1F "
      "}]\n"
      "f = 1979-05-27T07:32:00.5-07:00\n[[g]]\nh = '''\r\n'''\ni.j = +1_0\r";
  for (std::size_t length = 0; length <= text.size(); ++length) {
    std::string error;
    auto const document = config_document::parse(text.substr(0, length), error);
    EXPECT_NE(document.has_value(), !error.empty()) << "the first " << length << " bytes";
  }
}

}  // namespace
}  // namespace mura_common
