#include "download_answer.h"

#include <ostream>
#include <string>

#include <gtest/gtest.h>

namespace {

using namespace tavi::simulator;

download_state const half_done{100, "\"a\"", {}};

download_head whole(std::uint64_t length = 1000) {
  download_head head;
  head.status = 200;
  head.tag = "\"a\"";
  head.content_type = "application/octet-stream";
  head.length = length;
  return head;
}

download_head part(std::string range = "bytes 100-999/1000") {
  auto head = whole(900);
  head.status = 206;
  head.content_range = std::move(range);
  return head;
}

download_head with_status(unsigned int status) {
  auto head = whole();
  head.status = status;
  return head;
}

TEST(DownloadAnswer, WholeFileIsTakenWhateverIsThereAlready) {
  EXPECT_EQ(judge_download(whole(), {}).step, download_step::take_whole);
  EXPECT_EQ(judge_download(whole(), half_done).step, download_step::take_whole);
  EXPECT_EQ(judge_download(whole(largest_firmware), {}).step, download_step::take_whole);
}

TEST(DownloadAnswer, WholeFileInChunksIsTaken) {
  auto head = whole();
  head.length.reset();
  head.is_chunked = true;
  EXPECT_EQ(judge_download(head, {}).step, download_step::take_whole);
}

TEST(DownloadAnswer, RestIsTakenWhereItWasAskedFor) {
  EXPECT_EQ(judge_download(part(), half_done).step, download_step::take_rest);
  EXPECT_EQ(judge_download(part("Bytes 100-999/1000"), half_done).step, download_step::take_rest);
  auto head = part();
  head.tag.clear();
  EXPECT_EQ(judge_download(head, half_done).step, download_step::take_rest);
}

TEST(DownloadAnswer, PartThatIsNotTheRestOfTheSameFileIsAReasonToBeginAnew) {
  for (auto const* range :
       {"", "bytes 0-999/1000", "bytes 99-999/1000", "bytes 101-999/1000", "bytes 100-998/1000",
        "bytes 100-1000/1000", "bytes 100-999/*", "bytes */1000", "bytes 100-999", "lines 100-999/1000",
        "bytes 100-999/1000x", "bytes 100-99/1000", "bytes 18446744073709551616-2/3", "bytes -5/1000"}) {
    EXPECT_EQ(judge_download(part(range), half_done).step, download_step::try_again) << range;
  }
  auto other = part();
  other.tag = "\"b\"";
  EXPECT_EQ(judge_download(other, half_done).step, download_step::try_again);
}

TEST(DownloadAnswer, PartThatIsNotAsLongAsItSaysIsAReasonToBeginAnew) {
  for (std::uint64_t const length : {0ULL, 10ULL, 899ULL, 901ULL}) {
    auto head = part();
    head.length = length;
    EXPECT_EQ(judge_download(head, half_done).step, download_step::try_again) << length;
  }
  auto endless = part();
  endless.length.reset();
  EXPECT_EQ(judge_download(endless, half_done).step, download_step::try_again);
  EXPECT_EQ(judge_download(endless, half_done).reason, "the part is not as long as the server says");
}

TEST(DownloadAnswer, PartInChunksIsTaken) {
  auto head = part();
  head.length.reset();
  head.is_chunked = true;
  EXPECT_EQ(judge_download(head, half_done).step, download_step::take_rest);
}

TEST(DownloadAnswer, PartOfAFileThatHadAnotherSizeIsAReasonToBeginAnew) {
  EXPECT_EQ(judge_download(part(), {100, "\"a\"", 1000}).step, download_step::take_rest);
  EXPECT_EQ(judge_download(part(), {100, "\"a\"", 1001}).step, download_step::try_again);
}

TEST(DownloadAnswer, SizeOfTheWholeFileIsKnownFromWholeAndPart) {
  EXPECT_EQ(judge_download(whole(), {}).total, 1000U);
  EXPECT_EQ(judge_download(part(), half_done).total, 1000U);
  auto head = whole();
  head.length.reset();
  head.is_chunked = true;
  EXPECT_EQ(judge_download(head, {}).total, std::nullopt);
}

TEST(DownloadAnswer, PartThatNobodyAskedForIsAReasonToBeginAnew) {
  EXPECT_EQ(judge_download(part("bytes 0-999/1000"), {}).step, download_step::try_again);
}

TEST(DownloadAnswer, RestOfAFileThatIsTooLargeIsNotTaken) {
  auto const total = std::to_string(largest_firmware + 1);
  auto const last = std::to_string(largest_firmware);
  EXPECT_EQ(judge_download(part("bytes 100-" + last + "/" + total), half_done).step,
            download_step::try_again);
}

TEST(DownloadAnswer, RangeThatTheFileDoesNotHaveIsAReasonToBeginAnew) {
  EXPECT_EQ(judge_download(with_status(416), half_done).step, download_step::try_again);
}

TEST(DownloadAnswer, StatusThatSpeaksOfAMomentIsAReasonToTryAgain) {
  for (auto const status : {408U, 409U, 425U, 429U, 500U, 502U, 503U, 504U}) {
    auto const decision = judge_download(with_status(status), {});
    EXPECT_EQ(decision.step, download_step::try_again) << status;
    EXPECT_EQ(decision.reason, "the server answered with status " + std::to_string(status));
  }
}

TEST(DownloadAnswer, StatusThatSpeaksOfTheLocationEndsIt) {
  for (auto const status :
       {0U, 100U, 201U, 204U, 301U, 302U, 304U, 400U, 401U, 403U, 404U, 405U, 410U, 412U}) {
    EXPECT_EQ(judge_download(with_status(status), half_done).step, download_step::give_up) << status;
  }
}

TEST(DownloadAnswer, WhatIsNoFirmwareEndsItWithItsReason) {
  auto page = whole();
  page.content_type = "Text/HTML; charset=utf-8";
  EXPECT_EQ(judge_download(page, {}).step, download_step::give_up);
  EXPECT_EQ(judge_download(page, {}).reason, "the server sent a web page");
  EXPECT_EQ(judge_download(whole(0), {}).reason, "the file is empty");
  EXPECT_EQ(judge_download(whole(largest_firmware + 1), {}).reason,
            "the file is larger than a firmware can be");
  auto endless = whole();
  endless.length.reset();
  EXPECT_EQ(judge_download(endless, {}).reason, "the server does not tell how long the file is");
  EXPECT_EQ(judge_download(endless, {}).step, download_step::give_up);
}

TEST(WebPage, IsKnownByItsBeginning) {
  for (auto const* page :
       {"<!DOCTYPE html>", "<!doctype HTML PUBLIC", "<html>", "<HTML lang=", " \r\n\t<html"}) {
    EXPECT_TRUE(is_web_page(page)) << page;
  }
  for (auto const* other : {"", "<", "<htm", "<?xml", "x<html>",
                            "\x7f"
                            "ELF",
                            "   "}) {
    EXPECT_FALSE(is_web_page(other)) << other;
  }
}

TEST(StrongTag, StandsInQuotesAlone) {
  EXPECT_TRUE(is_strong_tag("\"a\""));
  for (auto const* other : {"", "\"", "\"\"", "a", "W/\"a\"", "\"a", "a\""}) {
    EXPECT_FALSE(is_strong_tag(other)) << other;
  }
}

}  // namespace
