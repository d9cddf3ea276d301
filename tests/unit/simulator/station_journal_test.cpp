#include "station_journal.h"

#include <algorithm>
#include <string>
#include <utility>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include "station_status.h"
#include "temporary_folder.h"

namespace {

using tavi::simulator::station_journal;

TEST(StationJournal, WritesOneLineWithTimeForEachMessage) {
  temporary_folder const folder;
  station_journal journal(folder.path() / "log");
  ASSERT_TRUE(journal.is_open());
  journal.record("sent", "[2]");
  journal.record("received", "[3]");
  auto const* const expected = "[0-9-]{10}T[0-9:]{8}\\.[0-9]{3}Z sent \\[2\\]\n[^ ]+Z received \\[3\\]\n";
  EXPECT_THAT(content_of(journal.path()), ::testing::MatchesRegex(expected));
}

TEST(StationJournal, KeepsAMessageWithControlCharactersOnOneLine) {
  temporary_folder const folder;
  station_journal journal(folder.path() / "log");
  journal.record("received", "a\nb\r\x1b[31m\x7f");
  auto const content = content_of(journal.path());
  EXPECT_EQ(std::ranges::count(content, '\n'), 1);
  EXPECT_NE(content.find("a b  [31m "), std::string::npos);
}

TEST(StationJournal, KeepsOnlyTheBeginningOfUploadTokens) {
  std::vector<std::pair<std::string, std::string>> const rows = {
      {R"({"location":"http://a:1/upload/abcdefghij/"})", R"({"location":"http://a:1/upload/abcdef.../"})"},
      {R"("http:\/\/a\/upload\/abcdefghij\/")", R"("http:\/\/a\/upload\/abcdef...\/")"},
      {"/upload/abcdefghij", "/upload/abcdef..."},
      {"/upload/abcdefg\" and /upload/gfedcba/x", "/upload/abcdef...\" and /upload/gfedcb.../x"},
      {"/upload/abcdef/longer-file-name", "/upload/abcdef/longer-file-name"},
      {"/upload/", "/upload/"},
      {"/upload", "/upload"},
      {"/upload\\", "/upload\\"},
      {"/uploads/abcdefghij", "/uploads/abcdefghij"},
      {"/uploads/upload/abcdefghij", "/uploads/upload/abcdef..."},
  };
  for (auto const& [text, expected] : rows) {
    temporary_folder const folder;
    station_journal journal(folder.path() / "log");
    journal.record("received", text);
    EXPECT_THAT(content_of(journal.path()), ::testing::EndsWith("Z received " + expected + "\n"));
  }
}

TEST(StationJournal, ContinuesAnExistingFile) {
  temporary_folder const folder;
  auto const file = folder.write("log", "before\n");
  station_journal journal(file);
  journal.record("sent", "after");
  EXPECT_TRUE(content_of(file).starts_with("before\n2"));
}

TEST(StationJournal, BeginsAnewBeforeItGrowsPastItsLimit) {
  temporary_folder const folder;
  station_journal journal(folder.path() / "log", 100);
  for (int count = 0; count < 20; ++count) {
    journal.record("sent", "message " + std::to_string(count));
    EXPECT_LE(std::filesystem::file_size(journal.path()), 100U);
  }
  EXPECT_NE(content_of(journal.path()).find("message 19"), std::string::npos);
  EXPECT_EQ(content_of(journal.path()).find("message 10"), std::string::npos);
}

TEST(StationJournal, ShortensTokensOfEveryKind) {
  temporary_folder const folder;
  station_journal journal(folder.path() / "log");
  journal.record("received", "http://a/upload/abcdefghij/x http:\\/\\/a\\/firmware\\/0123456789\\/1_x7.bin");
  journal.record("sent", "/firmware/short /firmware /firmware-old/0123456789");
  auto const text = content_of(journal.path());
  EXPECT_NE(text.find("/upload/abcdef.../x http:\\/\\/a\\/firmware\\/012345...\\/1_x7.bin"),
            std::string::npos)
      << text;
  EXPECT_NE(text.find("/firmware/short /firmware /firmware-old/0123456789"), std::string::npos) << text;
}

TEST(StationJournal, SaysWhenItsFileCannotBeOpened) {
  temporary_folder const folder;
  station_journal journal(folder.path() / "missing" / "log");
  EXPECT_FALSE(journal.is_open());
  journal.record("sent", "lost");
  EXPECT_FALSE(std::filesystem::exists(journal.path()));
}

TEST(StationStatus, DescribesSettingsThatAreNotUtf8WithoutThrowing) {
  tavi::simulator::station_options options;
  options.vendor = "A\xff";
  auto const object = nlohmann::json::parse(tavi::simulator::describe_configuration(options));
  EXPECT_EQ(object["vendor"], "A\xef\xbf\xbd");
}

}  // namespace
