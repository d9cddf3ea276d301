#include <ostream>

#include <gtest/gtest.h>

#include "text/plain_text.h"
#include "upload/http_upload.h"

namespace tavi::ctl {
namespace {

using namespace std::chrono_literals;

struct address_case {
  char const* name;
  std::string text;
  bool is_address;
};

void PrintTo(address_case const& row, std::ostream* out) {
  *out << row.name << ": " << row.text;
}

class ServerAddress : public testing::TestWithParam<address_case> {};

TEST_P(ServerAddress, IsAHostWithOrWithoutPort) {
  EXPECT_EQ(is_server_address(GetParam().text), GetParam().is_address);
}

INSTANTIATE_TEST_SUITE_P(
    EveryKind, ServerAddress,
    testing::Values(
        address_case{"Name", "controller", true}, address_case{"NameAndPort", "controller.lan:8180", true},
        address_case{"Numeric", "192.168.1.10", true}, address_case{"NumericAndPort", "127.0.0.1:80", true},
        address_case{"Six", "[::1]", true}, address_case{"SixAndPort", "[fe80::1]:8180", true},
        address_case{"LastPort", "h:65535", true}, address_case{"Empty", "", false},
        address_case{"PortOnly", ":80", false}, address_case{"NoPort", "h:", false},
        address_case{"PortZero", "h:0", false}, address_case{"PortTooLarge", "h:65536", false},
        address_case{"PortIsText", "h:http", false}, address_case{"SixWithoutBrackets", "::1", false},
        address_case{"EmptyBrackets", "[]", false}, address_case{"OpenBracket", "[::1", false},
        address_case{"Url", "http://h", false}, address_case{"Path", "h/x", false},
        address_case{"User", "user@h", false}, address_case{"Blank", "h x", false},
        address_case{"LineEnd", "h\r\nX: y", false}, address_case{"Question", "h?x", false}),
    [](auto const& row) { return std::string(row.param.name); });

TEST(UploadUrl, EscapesTheFileName) {
  EXPECT_EQ(make_upload_url("h:80", "/upload/t", "fw-2.1_x.bin"), "http://h:80/upload/t/fw-2.1_x.bin");
  EXPECT_EQ(make_upload_url("h", "/upload/t", "a b/..%?#\xc3\xa4\n"),
            "http://h/upload/t/a%20b%2F..%25%3F%23%C3%A4%0A");
}

TEST(UploadStatus, EachOneThatTheServerGivesHasItsOwnExplanation) {
  std::set<std::string> texts;
  for (long const status : {404, 408, 409, 410, 411, 413, 507, 400, 500}) {
    auto const text = explain_upload_status(status);
    EXPECT_FALSE(text.empty());
    EXPECT_TRUE(texts.insert(text).second) << status;
  }
  EXPECT_EQ(explain_upload_status(503), explain_upload_status(500));
  EXPECT_EQ(explain_upload_status(302), explain_upload_status(400));
}

TEST(ProgressLine, ShowsBarBytesRateAndTimeLeft) {
  EXPECT_EQ(progress_line({5 << 20, 10 << 20, 5s}, 79),
            "[#############             ]  50%  5.0 MiB of 10 MiB  1.0 MiB/s  6s left");
}

TEST(ProgressLine, BeginsEmptyAndEndsFull) {
  EXPECT_EQ(progress_line({0, 100, 0ms}, 79), "[" + std::string(26, ' ') + "]   0%  0 B of 100 B");
  EXPECT_EQ(progress_line({100, 100, 1s}, 79),
            "[" + std::string(26, '#') + "] 100%  100 B of 100 B  100 B/s");
}

TEST(ProgressLine, TellsNoRateFromTooShortATime) {
  EXPECT_EQ(progress_line({50, 100, 499ms}, 79),
            "[" + std::string(13, '#') + std::string(13, ' ') + "]  50%  50 B of 100 B");
  EXPECT_EQ(progress_line({50, 100, 500ms}, 79),
            "[" + std::string(13, '#') + std::string(13, ' ') + "]  50%  50 B of 100 B  100 B/s  1s left");
}

TEST(ProgressLine, LeavesToTheBarWhatTheFiguresLeave) {
  upload_state const half{5 << 20, 10 << 20, 5s};
  std::string const figures = " 50%  5.0 MiB of 10 MiB  1.0 MiB/s  6s left";
  EXPECT_EQ(progress_line(half, 59), "[######       ] " + figures);
  EXPECT_EQ(progress_line(half, figures.size() + 9), "[###   ] " + figures);
  EXPECT_EQ(progress_line(half, figures.size() + 8), figures);
  EXPECT_EQ(progress_line(half, 0), figures);
}

TEST(ProgressPace, ShowsTheBeginningThenEveryTenthOfASecond) {
  progress_pace pace;
  EXPECT_TRUE(pace.is_due({0, 100, 7ms}));
  EXPECT_FALSE(pace.is_due({1, 100, 7ms}));
  EXPECT_FALSE(pace.is_due({2, 100, 106ms}));
  EXPECT_TRUE(pace.is_due({3, 100, 107ms}));
  EXPECT_FALSE(pace.is_due({4, 100, 206ms}));
  EXPECT_TRUE(pace.is_due({5, 100, 300ms}));
}

TEST(ProgressPace, ShowsTheEndAtOnceAndOnce) {
  progress_pace pace;
  EXPECT_TRUE(pace.is_due({99, 100, 0ms}));
  EXPECT_TRUE(pace.is_due({100, 100, 1ms}));
  EXPECT_FALSE(pace.is_due({100, 100, 2ms}));
  EXPECT_FALSE(pace.is_due({100, 100, 5s}));
}

TEST(ProgressLine, HoldsWhateverTheNumbersAre) {
  EXPECT_EQ(progress_line({0, 0, 0ms}, 79), "[" + std::string(26, '#') + "] 100%  0 B of 0 B");
  EXPECT_EQ(progress_line({200, 100, 1s}, 79),
            "[" + std::string(26, '#') + "] 100%  200 B of 100 B  200 B/s");
  for (std::uint64_t sent = 1; sent < 0xFFFFFFFE; sent = sent * 3 + 1) {
    EXPECT_LE(width_of(progress_line({sent, 0xFFFFFFFE, 100h}, 79)), 79U);
    EXPECT_LE(width_of(progress_line({sent, 0xFFFFFFFE, 500ms}, 79)), 79U);
  }
}

}  // namespace
}  // namespace tavi::ctl
