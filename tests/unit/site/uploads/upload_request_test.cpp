#include "uploads/upload_request.h"

#include <optional>
#include <ostream>
#include <string>

#include <gtest/gtest.h>

namespace tavi::site::uploads {
namespace {

namespace beast_http = boost::beast::http;

http::request_header header_of(beast_http::verb method, std::string const& target) {
  http::request_header header;
  header.version(11);
  header.method(method);
  header.target(target);
  return header;
}

struct body_case {
  char const* situation;
  beast_http::verb method;
  std::vector<std::pair<beast_http::field, std::string>> fields;
  std::optional<std::uint64_t> declared;
  beast_http::status refusal = beast_http::status::ok;  // ok when it is accepted
  std::optional<std::string> boundary = {};
  bool is_awaiting_continue = false;
  unsigned int version = 11;
};

void PrintTo(body_case const& row, std::ostream* out) {
  *out << row.situation;
}

class AnnouncedBodyTest : public testing::TestWithParam<body_case> {};

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

  auto const* const body = std::get_if<announced_body>(&finding);
  ASSERT_EQ(body != nullptr, row.refusal == beast_http::status::ok);
  if (body == nullptr) {
    EXPECT_EQ(std::get<http::http_answer>(finding).status, row.refusal);
    return;
  }
  EXPECT_EQ(body->bytes, row.declared);
  EXPECT_EQ(body->boundary, row.boundary);
  EXPECT_EQ(body->is_awaiting_continue, row.is_awaiting_continue);
}

using beast_http::field;
using beast_http::status;
using beast_http::verb;

INSTANTIATE_TEST_SUITE_P(
    Situations, AnnouncedBodyTest,
    testing::Values(
        body_case{"with a length", verb::put, {}, 7}, body_case{"empty", verb::put, {}, 0},
        body_case{"of the most allowed", verb::put, {}, 100},
        body_case{"one more than allowed", verb::put, {}, 101, status::payload_too_large},
        body_case{"in chunks", verb::put, {{field::transfer_encoding, "Chunked"}}, std::nullopt},
        body_case{"neither", verb::post, {}, std::nullopt, status::length_required},
        body_case{"unknown coding",
                  verb::put,
                  {{field::transfer_encoding, "gzip, chunked"}},
                  std::nullopt,
                  status::not_implemented},
        body_case{
            "waits for 100", verb::put, {{field::expect, "100-Continue"}}, 7, status::ok, std::nullopt, true},
        body_case{"too large, waits for 100",
                  verb::put,
                  {{field::expect, "100-continue"}},
                  101,
                  status::payload_too_large},
        body_case{"waits for 100 in an old version",
                  verb::put,
                  {{field::expect, "100-continue"}},
                  7,
                  status::ok,
                  std::nullopt,
                  false,
                  10},
        body_case{"expects something else",
                  verb::put,
                  {{field::expect, "miracles"}},
                  7,
                  status::expectation_failed},
        body_case{"multipart",
                  verb::post,
                  {{field::content_type, "multipart/form-data; boundary=xyz"}},
                  7,
                  status::ok,
                  "xyz"},
        body_case{"multipart in other letters",
                  verb::post,
                  {{field::content_type, "Multipart/Form-Data;BOUNDARY=\"x z\""}},
                  7,
                  status::ok,
                  "x z"},
        body_case{"multipart without a boundary",
                  verb::post,
                  {{field::content_type, "multipart/form-data"}},
                  7,
                  status::bad_request},
        body_case{"put of what happens to be multipart",
                  verb::put,
                  {{field::content_type, "multipart/form-data; boundary=xyz"}},
                  7},
        body_case{"form that is none",
                  verb::post,
                  {{field::content_type, "application/x-www-form-urlencoded"}},
                  7}));

}  // namespace
}  // namespace tavi::site::uploads
