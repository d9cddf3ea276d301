#include "text/table.h"

#include <gtest/gtest.h>

namespace tavi::ctl {
namespace {

constexpr table_style plain{};
constexpr table_style aligned{true, false};
constexpr table_style coloured{true, true};

table two_rows() {
  table lines({{"ID", true}, {"NAME"}, {"SIZE", true}});
  lines.add({std::string("7"), std::string("short"), {"1.0 KiB", "1024"}});
  lines.add({std::string("12"), std::string("a longer name"), {"5 B", "5"}});
  return lines;
}

TEST(Table, IsAlignedWithTitlesForPeople) {
  EXPECT_EQ(two_rows().text(aligned),
            "ID  NAME              SIZE\n"
            " 7  short          1.0 KiB\n"
            "12  a longer name      5 B\n");
}

TEST(Table, HasExactCellsWithTabsAndNoTitlesForPrograms) {
  EXPECT_EQ(two_rows().text(plain), "7\tshort\t1024\n12\ta longer name\t5\n");
}

TEST(Table, ShowsItsTitlesBoldWhereColoursAreWanted) {
  auto const text = two_rows().text(coloured);
  EXPECT_EQ(text.substr(0, text.find('\n')), "\x1b[1mID  NAME              SIZE\x1b[0m");
  EXPECT_EQ(text.find('\x1b', text.find('\n')), std::string::npos);
}

TEST(Table, WithoutRowsIsEmpty) {
  table const none({{"ID"}});
  EXPECT_EQ(none.text(aligned), "");
  EXPECT_EQ(none.text(plain), "");
}

TEST(Table, ShowsAnEmptyCellAsADash) {
  table lines({{"A"}, {"B"}});
  lines.add({std::string(), std::string("b")});
  EXPECT_EQ(lines.text(plain), "-\tb\n");
  EXPECT_EQ(lines.text(aligned), "A  B\n-  b\n");
}

TEST(Table, KeepsItsLinesAndFieldsWhateverCellsHold) {
  table lines({{"A"}, {"B"}});
  lines.add({std::string("a\tb\nc"), std::string("\x1b[31mred")});
  EXPECT_EQ(lines.text(plain), "a\\x09b\\x0ac\t\\x1b[31mred\n");
  EXPECT_EQ(lines.text(aligned), "A            B\na\\x09b\\x0ac  \\x1b[31mred\n");
}

TEST(Table, HasNoBlanksAtTheEndOfALine) {
  table lines({{"A"}, {"B"}});
  lines.add({std::string("1"), std::string("long text")});
  lines.add({std::string("2"), std::string("x")});
  EXPECT_EQ(lines.text(aligned), "A  B\n1  long text\n2  x\n");
}

TEST(Table, AlignsCharactersOfSeveralBytes) {
  table lines({{"A"}, {"B"}});
  lines.add({std::string("\xc3\xa4\xc3\xb6"), std::string("x")});
  lines.add({std::string("abc"), std::string("y")});
  EXPECT_EQ(lines.text(aligned), "A    B\n\xc3\xa4\xc3\xb6   x\nabc  y\n");
}

TEST(LaidOutRecord, AlignsItsValuesForPeople) {
  EXPECT_EQ(lay_out_record({{"id", std::string("7")}, {"version", {"rounded", "exact"}}}, aligned),
            "id       7\nversion  rounded\n");
}

TEST(LaidOutRecord, HasExactValuesForPrograms) {
  EXPECT_EQ(lay_out_record({{"id", std::string("7")}, {"version", {"rounded", "exact"}}}, plain),
            "id\t7\nversion\texact\n");
}

TEST(LaidOutRecord, ShowsItsNamesBoldWhereColoursAreWanted) {
  EXPECT_EQ(lay_out_record({{"id", std::string()}}, coloured), "\x1b[1mid\x1b[0m  -\n");
}

}  // namespace
}  // namespace tavi::ctl
