#include "uploads/upload_request.h"

#include <optional>
#include <ostream>
#include <string>

#include <gtest/gtest.h>

namespace tavi::site {
namespace {

namespace beast_http = boost::beast::http;

http::request_header header_of(beast_http::verb method, std::string const& target) {
  http::request_header header;
  header.version(11);
  header.method(method);
  header.target(target);
  return header;
}

struct method_row {
  beast_http::verb method;
  bool is_allowed;
};

void PrintTo(method_row const& row, std::ostream* out) {
  *out << row.method;
}

class UploadMethodTest : public testing::TestWithParam<method_row> {};

TEST_P(UploadMethodTest, OnlyPutAndPostUpload) {
  auto const finding = find_upload_target(header_of(GetParam().method, "/upload/abc/x"));

  ASSERT_EQ(finding.found.has_value(), GetParam().is_allowed);
  if (!GetParam().is_allowed) {
    EXPECT_EQ(finding.refusal.status, beast_http::status::method_not_allowed);
    EXPECT_EQ(finding.refusal.allow, "PUT, POST");
  }
}

INSTANTIATE_TEST_SUITE_P(Methods, UploadMethodTest,
                         testing::Values(method_row{beast_http::verb::put, true},
                                         method_row{beast_http::verb::post, true},
                                         method_row{beast_http::verb::get, false},
                                         method_row{beast_http::verb::head, false},
                                         method_row{beast_http::verb::delete_, false},
                                         method_row{beast_http::verb::options, false}));

TEST(UploadTargetOfRequestTest, MalformedTargetIsABadRequestWhateverTheMethod) {
  EXPECT_EQ(find_upload_target(header_of(beast_http::verb::put, "/upload/")).refusal.status,
            beast_http::status::bad_request);
  EXPECT_EQ(find_upload_target(header_of(beast_http::verb::get, "/upload/%")).refusal.status,
            beast_http::status::bad_request);
}

struct announced_body {
  char const* situation;
  beast_http::verb method;
  std::vector<std::pair<beast_http::field, std::string>> fields;
  std::optional<std::uint64_t> declared;
  beast_http::status refusal = beast_http::status::ok;  // ok when it is accepted
  std::optional<std::string> boundary = {};
  bool is_awaiting_continue = false;
  unsigned int version = 11;
};

void PrintTo(announced_body const& row, std::ostream* out) {
  *out << row.situation;
}

class AnnouncedBodyTest : public testing::TestWithParam<announced_body> {};

TEST_P(AnnouncedBodyTest, IsJudgedAsTheRowSays) {
  auto const& row = GetParam();
  auto header = header_of(row.method, "/upload/abc");
  header.version(row.version);
  for (auto const& [field, value] : row.fields) {
    header.set(field, value);
  }
  upload_limits limits;
  limits.max_bytes = 100;

  auto const finding = find_announced_body(header, row.declared, limits);

  ASSERT_EQ(finding.found.has_value(), row.refusal == beast_http::status::ok);
  if (!finding.found) {
    EXPECT_EQ(finding.refusal.status, row.refusal);
    return;
  }
  EXPECT_EQ(finding.found->bytes, row.declared);
  EXPECT_EQ(finding.found->boundary, row.boundary);
  EXPECT_EQ(finding.found->is_awaiting_continue, row.is_awaiting_continue);
}

using beast_http::field;
using beast_http::status;
using beast_http::verb;

INSTANTIATE_TEST_SUITE_P(
    Situations, AnnouncedBodyTest,
    testing::Values(
        announced_body{"with a length", verb::put, {}, 7}, announced_body{"empty", verb::put, {}, 0},
        announced_body{"of the most allowed", verb::put, {}, 100},
        announced_body{"one more than allowed", verb::put, {}, 101, status::payload_too_large},
        announced_body{"in chunks", verb::put, {{field::transfer_encoding, "Chunked"}}, std::nullopt},
        announced_body{"neither", verb::post, {}, std::nullopt, status::length_required},
        announced_body{"unknown coding",
                       verb::put,
                       {{field::transfer_encoding, "gzip, chunked"}},
                       std::nullopt,
                       status::not_implemented},
        announced_body{
            "waits for 100", verb::put, {{field::expect, "100-Continue"}}, 7, status::ok, std::nullopt, true},
        announced_body{"too large, waits for 100",
                       verb::put,
                       {{field::expect, "100-continue"}},
                       101,
                       status::payload_too_large},
        announced_body{"waits for 100 in an old version",
                       verb::put,
                       {{field::expect, "100-continue"}},
                       7,
                       status::ok,
                       std::nullopt,
                       false,
                       10},
        announced_body{"expects something else",
                       verb::put,
                       {{field::expect, "miracles"}},
                       7,
                       status::expectation_failed},
        announced_body{"multipart",
                       verb::post,
                       {{field::content_type, "multipart/form-data; boundary=xyz"}},
                       7,
                       status::ok,
                       "xyz"},
        announced_body{"multipart in other letters",
                       verb::post,
                       {{field::content_type, "Multipart/Form-Data;BOUNDARY=\"x z\""}},
                       7,
                       status::ok,
                       "x z"},
        announced_body{"multipart without a boundary",
                       verb::post,
                       {{field::content_type, "multipart/form-data"}},
                       7,
                       status::bad_request},
        announced_body{"put of what happens to be multipart",
                       verb::put,
                       {{field::content_type, "multipart/form-data; boundary=xyz"}},
                       7},
        announced_body{"form that is none",
                       verb::post,
                       {{field::content_type, "application/x-www-form-urlencoded"}},
                       7}));

}  // namespace
}  // namespace tavi::site
