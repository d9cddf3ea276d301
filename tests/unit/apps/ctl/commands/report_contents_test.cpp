#include "commands/report_contents.h"

#include <cstdlib>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "temporary_folder.h"

namespace tavi::ctl {
namespace {

using ::testing::ElementsAre;

class ReportContents : public testing::Test {
 protected:
  /// Lets a shell make a file in the folder. @return the file
  std::filesystem::path make(std::string const& name, std::string const& command) const {
    auto const line = "cd '" + folder.path().string() + "' && " + command;
    EXPECT_EQ(std::system(line.c_str()), 0);
    return folder.path() / name;
  }

  temporary_folder folder;
};

TEST_F(ReportContents, AreTheFilesOfATarArchiveHoweverItIsCompressed) {
  folder.write("boot log.txt", std::string(5000, 'x'));
  folder.write("empty", "");
  std::vector<archived_file> const expected = {{"boot log.txt", 5000}, {"empty", 0}};
  for (auto const* const options : {"-cf", "-czf"}) {
    auto const found =
        look_into(make("report", std::string("tar ") + options + " report 'boot log.txt' empty"));
    EXPECT_EQ(found.files, expected) << options;
    EXPECT_EQ(found.first_lines, std::nullopt);
  }
}

TEST_F(ReportContents, AreTheFilesOfAZipArchive) {
  folder.write("boot.txt", "content");
  auto const found = look_into(make("report.zip", "zip -q report.zip boot.txt"));
  EXPECT_EQ(found.files, (std::vector<archived_file>{{"boot.txt", 7}}));
}

TEST_F(ReportContents, AreTheFirstTenLinesOfAText) {
  std::string text;
  for (int line = 1; line <= 12; ++line) {
    text += "line " + std::to_string(line) + "\n";
  }
  auto const found = look_into(folder.write("report", text));
  ASSERT_TRUE(found.first_lines.has_value());
  EXPECT_EQ(found.first_lines->size(), 10U);
  EXPECT_EQ(found.first_lines->back(), "line 10");
  EXPECT_EQ(found.files, std::nullopt);
}

TEST_F(ReportContents, AreAllLinesOfAShortTextTheUnfinishedOneToo) {
  EXPECT_THAT(*look_into(folder.write("report", "one\ntwo")).first_lines, ElementsAre("one", "two"));
  EXPECT_THAT(*look_into(folder.write("empty", "")).first_lines, ElementsAre());
}

TEST_F(ReportContents, LeaveOutALineThatIsCutButTheOnlyOne) {
  auto const cut = look_into(folder.write("report", "one\n" + std::string(5000, 'x')));
  EXPECT_THAT(*cut.first_lines, ElementsAre("one"));
  auto const single = look_into(folder.write("single", std::string(5000, 'x')));
  EXPECT_EQ(single.first_lines->size(), 1U);
}

TEST_F(ReportContents, AreATextThoughACharacterIsCutWhereReadingEnds) {
  auto const found = look_into(folder.write("report", "one\n" + std::string(4091, 'x') + "\u00e4\n"));
  EXPECT_THAT(*found.first_lines, ElementsAre("one"));
}

TEST_F(ReportContents, AreUnknownOfOtherBytes) {
  for (auto const& bytes :
       {std::string("\x1f\x8b no archive"), std::string("a\0b", 3), std::string("\xff\xfe")}) {
    auto const found = look_into(folder.write("report", bytes));
    EXPECT_EQ(found.files, std::nullopt);
    EXPECT_EQ(found.first_lines, std::nullopt);
  }
}

TEST(TarListing, HasTheNameBehindTheFifthField) {
  EXPECT_EQ(parse_tar_listing("-rw-r--r-- root/root   123 2026-11-20 13:05 a b\n"
                              "drwxr-xr-x 0/0           0 2026-11-20 13:05:09 folder/\n"),
            (std::vector<archived_file>{{"a b", 123}, {"folder/", 0}}));
}

TEST(TarListing, LeavesOtherLinesOut) {
  EXPECT_TRUE(parse_tar_listing("").empty());
  EXPECT_TRUE(parse_tar_listing("crw-rw-rw- root/root 1,3 2026-11-20 13:05 null\n").empty());
  EXPECT_TRUE(parse_tar_listing("-rw-r--r-- root/root 123 2026-11-20 13:05\n\n").empty());
}

}  // namespace
}  // namespace tavi::ctl
