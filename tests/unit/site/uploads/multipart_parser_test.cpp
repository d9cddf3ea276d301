#include "uploads/multipart_parser.h"

#include <chrono>
#include <ostream>
#include <string>

#include <gtest/gtest.h>

namespace tavi::site::uploads {

void PrintTo(multipart_parser::state state, std::ostream* out) {
  constexpr char const* names[] = {"reading", "complete", "broken"};
  *out << names[static_cast<int>(state)];
}

namespace {

using state = multipart_parser::state;

struct multipart_body {
  char const* situation;
  std::string body;
  state end;
  bool has_file;
  std::string name;
  std::string content;
};

void PrintTo(multipart_body const& row, std::ostream* out) {
  *out << row.situation;
}

std::string part(std::string const& header, std::string const& content) {
  return "--B\r\n" + header + "\r\n\r\n" + content + "\r\n";
}

std::string file_part(std::string const& name, std::string const& content) {
  return part("Content-Disposition: form-data; name=\"f\"; filename=\"" + name + "\"", content);
}

std::string field_part(std::string const& content) {
  return part("Content-Disposition: form-data; name=\"field\"", content);
}

std::string const final_line = "--B--\r\n";

class MultipartParserTest : public testing::TestWithParam<multipart_body> {
 protected:
  void feed(std::string_view chunk) { last = parser.feed(chunk, content); }
  void expect_row() const {
    EXPECT_EQ(last, GetParam().end);
    EXPECT_EQ(parser.has_file(), GetParam().has_file);
    EXPECT_EQ(parser.file_name(), GetParam().name);
    if (last == state::complete) {
      EXPECT_EQ(content, GetParam().content);
    } else {
      EXPECT_TRUE(GetParam().content.starts_with(content)) << content;
    }
  }

  multipart_parser parser{"B"};
  std::string content;
  state last = state::reading;
};

TEST_P(MultipartParserTest, WholeBodyAtOnce) {
  feed(GetParam().body);
  expect_row();
}

TEST_P(MultipartParserTest, OneByteAtATime) {
  for (auto const byte : GetParam().body) {
    feed(std::string_view(&byte, 1));
  }
  expect_row();
}

TEST_P(MultipartParserTest, SplitAtEveryPosition) {
  std::string_view const body = GetParam().body;
  for (std::size_t at = 0; at <= body.size(); ++at) {
    SCOPED_TRACE(at);
    parser = multipart_parser("B");
    content.clear();
    feed(body.substr(0, at));
    feed(body.substr(at));
    expect_row();
  }
}

INSTANTIATE_TEST_SUITE_P(
    Whole, MultipartParserTest,
    testing::Values(
        multipart_body{"one file", file_part("a.zip", "content") + final_line, state::complete, true, "a.zip",
                       "content"},
        multipart_body{"empty file", file_part("a.zip", "") + final_line, state::complete, true, "a.zip", ""},
        multipart_body{"file that ends without even an empty line",
                       "--B\r\nContent-Disposition: x; filename=a\r\n\r\n--B--", state::complete, true, "a",
                       ""},
        multipart_body{"preamble and epilogue",
                       "for old mail readers\r\n" + file_part("a", "x") + final_line + "--B\r\nmore",
                       state::complete, true, "a", "x"},
        multipart_body{"no line end at the end", file_part("a", "x") + "--B--", state::complete, true, "a",
                       "x"},
        multipart_body{"fields around the file",
                       field_part("1") + file_part("a", "x") + field_part("2") + final_line, state::complete,
                       true, "a", "x"},
        multipart_body{"second file is passed over", file_part("a", "x") + file_part("b", "y") + final_line,
                       state::complete, true, "a", "x"},
        multipart_body{"fields only", field_part("1") + field_part("2") + final_line, state::complete, false,
                       "", ""},
        multipart_body{"no parts", final_line, state::complete, false, "", ""},
        multipart_body{"part without any header", "--B\r\n\r\nvalue\r\n" + file_part("a", "x") + final_line,
                       state::complete, true, "a", "x"},
        multipart_body{"blanks after a boundary",
                       "--B \t \r\nContent-Disposition: x; filename=a\r\n\r\nx\r\n--B--", state::complete,
                       true, "a", "x"},
        multipart_body{
            "several header lines, any letter case",
            part("Content-Type: application/zip\r\nCONTENT-disposition:form-data;filename=a\r\nX: y", "x") +
                final_line,
            state::complete, true, "a", "x"},
        multipart_body{"header line without a colon",
                       part("nonsense\r\nContent-Disposition: f; filename=a", "x") + final_line,
                       state::complete, true, "a", "x"},
        multipart_body{"disposition without a value", part("Content-Disposition", "x") + final_line,
                       state::complete, false, "", ""},
        multipart_body{"content full of what looks like boundaries",
                       file_part("a", "\r\n--\r\n--A\r\r\n-\r\n\r\n--b\n--B--\r--B") + final_line,
                       state::complete, true, "a", "\r\n--\r\n--A\r\r\n-\r\n\r\n--b\n--B--\r--B"},
        multipart_body{"content that ends with line ends", file_part("a", "x\r\n\r\n") + final_line,
                       state::complete, true, "a", "x\r\n\r\n"},
        multipart_body{"content that begins with line ends", file_part("a", "\r\n\r\nx") + final_line,
                       state::complete, true, "a", "\r\n\r\nx"},
        multipart_body{"path in the name", file_part("../../etc/passwd", "x") + final_line, state::complete,
                       true, "../../etc/passwd", "x"}));

INSTANTIATE_TEST_SUITE_P(
    NotWhole, MultipartParserTest,
    testing::Values(
        multipart_body{"nothing", "", state::reading, false, "", ""},
        multipart_body{"no boundary", "just text", state::reading, false, "", ""},
        multipart_body{"another boundary", "--C\r\n\r\nx\r\n--C--\r\n", state::reading, false, "", ""},
        multipart_body{"no final boundary", file_part("a", "content"), state::reading, true, "a",
                       "content\r\n"},
        multipart_body{"half a final boundary", file_part("a", "content") + "--B-", state::reading, true, "a",
                       "content"},
        multipart_body{"ends within a header", "--B\r\nContent-Dispo", state::reading, false, "", ""},
        multipart_body{"boundary line goes on", "--Boundary\r\n\r\nx\r\n--B--\r\n", state::broken, false, "",
                       ""},
        multipart_body{"bare line feeds", "--B\nContent-Disposition: x; filename=a\n\nx\n--B--\n",
                       state::broken, false, "", ""},
        multipart_body{"carriage return alone", "--B\rx", state::broken, false, "", ""}));

TEST(MultipartParserLimitTest, HeaderOfAPartIsLimited) {
  multipart_parser parser("B");
  std::string file;
  auto last = parser.feed("--B\r\nX: ", file);
  auto fed = 0;
  while (last == state::reading && fed < 100) {
    last = parser.feed(std::string(1000, 'x'), file);
    ++fed;
  }
  EXPECT_EQ(last, state::broken);
  EXPECT_EQ(fed, 9);
}

TEST(MultipartParserLimitTest, BlanksAfterABoundaryAreLimited) {
  multipart_parser parser("B");
  std::string file;
  parser.feed("--B", file);

  EXPECT_EQ(parser.feed(std::string(256, ' '), file), state::reading);
  EXPECT_EQ(parser.feed(" ", file), state::broken);
}

TEST(MultipartParserLimitTest, BrokenStaysBrokenAndCompleteStaysComplete) {
  std::string file;
  multipart_parser broken("B");
  broken.feed("--Bx", file);
  EXPECT_EQ(broken.feed("\r\n" + final_line, file), state::broken);

  multipart_parser complete("B");
  complete.feed(final_line, file);
  EXPECT_EQ(complete.feed("--Bx", file), state::complete);
  EXPECT_EQ(file, "");
}

TEST(MultipartParserLimitTest, ManySmallPartsAtOnceTakeTimeInProportionOnly) {
  std::string body;
  for (auto count = 0; count < 600'000; ++count) {
    body += "--B\r\n\r\n";
  }
  multipart_parser parser("B");
  std::string file;
  auto const begun_at = std::chrono::steady_clock::now();

  EXPECT_EQ(parser.feed(body + final_line, file), state::complete);

  EXPECT_LT(std::chrono::steady_clock::now() - begun_at, std::chrono::seconds(30));
}

TEST(MultipartParserLimitTest, ContentIsHandedOnAsItComes) {
  multipart_parser parser("B");
  std::string file;
  parser.feed("--B\r\nContent-Disposition: x; filename=a\r\n\r\n", file);
  std::size_t total = 0;
  for (auto count = 0; count < 64; ++count) {
    file.clear();
    parser.feed(std::string(65536, 'x'), file);
    total += file.size();
    EXPECT_GE(file.size(), 65536U - 8);
  }
  EXPECT_GE(total, 64U * 65536 - 8);
}

}  // namespace
}  // namespace tavi::site::uploads
