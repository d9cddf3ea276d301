#include "firmware/firmware_request.h"

#include <algorithm>
#include <ostream>
#include <string>
#include <utility>
#include <vector>

#include <boost/beast/http/verb.hpp>
#include <gtest/gtest.h>

namespace tavi::site {
namespace {

namespace http = boost::beast::http;
using fields = std::vector<std::pair<http::field, std::string>>;

request_header header_of(http::verb method, std::string const& target, fields const& added = {}) {
  request_header header;
  header.version(11);
  header.method(method);
  header.target(target);
  for (auto const& [name, value] : added) {
    header.insert(name, value);
  }
  return header;
}

std::string field_of(delivery_plan const& plan, http::field name) {
  auto const found = std::find_if(plan.head.fields.begin(), plan.head.fields.end(),
                                  [&](auto const& field) { return field.first == name; });
  return found == plan.head.fields.end() ? "" : found->second;
}

TEST(FirmwareTarget, HoldsTheTokenWithOrWithoutAName) {
  for (auto const* target :
       {"/firmware/abc", "/firmware/abc/", "/firmware/abc/1_x7.bin", "/firmware/abc?x"}) {
    for (auto const method : {http::verb::get, http::verb::head}) {
      auto const found = find_firmware_target(header_of(method, target));
      ASSERT_TRUE(std::holds_alternative<token_target>(found)) << target;
      EXPECT_EQ(std::get<token_target>(found).token, "abc");
    }
  }
}

TEST(FirmwareTarget, MalformedOneIsABadRequestWhateverTheMethod) {
  for (auto const* target : {"/firmware/", "/firmware//x", "/firmware/%zz", "/firmware/?abc"}) {
    for (auto const method : {http::verb::get, http::verb::put}) {
      auto const found = find_firmware_target(header_of(method, target));
      ASSERT_TRUE(std::holds_alternative<http_answer>(found)) << target;
      EXPECT_EQ(std::get<http_answer>(found).status, http::status::bad_request);
    }
  }
}

TEST(FirmwareTarget, OtherMethodsAreToldWhichOnesThereAre) {
  for (auto const method : {http::verb::put, http::verb::post, http::verb::delete_, http::verb::options}) {
    auto const found = find_firmware_target(header_of(method, "/firmware/abc"));
    ASSERT_TRUE(std::holds_alternative<http_answer>(found));
    EXPECT_EQ(std::get<http_answer>(found).status, http::status::method_not_allowed);
    EXPECT_EQ(std::get<http_answer>(found).allow, "GET, HEAD");
  }
}

constexpr auto present_tag = "\"a1-3e8\"";
file_state const thousand_bytes{1000, present_tag};

struct plan_case {
  char const* situation;
  http::verb method;
  fields added;
  http::status status;
  byte_range body;
  std::string content_range;
};

void PrintTo(plan_case const& row, std::ostream* out) {
  *out << row.situation;
}

plan_case whole(char const* situation, fields added) {
  return {situation, http::verb::get, std::move(added), http::status::ok, {0, 1000}, ""};
}

plan_case part(char const* situation, fields added) {
  return {situation,  http::verb::get,     std::move(added), http::status::partial_content,
          {100, 100}, "bytes 100-199/1000"};
}

plan_case nothing(char const* situation, http::status status, fields added,
                  http::verb method = http::verb::get) {
  auto const range = status == http::status::range_not_satisfiable ? "bytes */1000" : "";
  return {situation, method, std::move(added), status, {}, range};
}

class DeliveryPlanTest : public testing::TestWithParam<plan_case> {};

TEST_P(DeliveryPlanTest, IsMadeAsTheRowSays) {
  auto const& row = GetParam();
  auto const plan = plan_delivery(header_of(row.method, "/firmware/abc", row.added), thousand_bytes);

  EXPECT_EQ(plan.head.status, row.status);
  EXPECT_EQ(plan.body, row.body);
  EXPECT_EQ(field_of(plan, http::field::content_range), row.content_range);
  EXPECT_EQ(field_of(plan, http::field::etag), present_tag);
  EXPECT_EQ(field_of(plan, http::field::accept_ranges), "bytes");
  EXPECT_EQ(field_of(plan, http::field::cache_control), "private, no-store");
  if (row.status == http::status::not_modified) {
    EXPECT_EQ(plan.head.content_length, std::nullopt);
  } else if (row.method == http::verb::head && row.status == http::status::ok) {
    EXPECT_EQ(plan.head.content_length, 1000U);
  } else {
    EXPECT_EQ(plan.head.content_length, row.body.count);
  }
}

std::pair<http::field, std::string> const some{http::field::range, "bytes=100-199"};
std::pair<http::field, std::string> const none{http::field::range, "bytes=1000-"};

INSTANTIATE_TEST_SUITE_P(
    Ranges, DeliveryPlanTest,
    testing::Values(
        whole("no range", {}), part("a range", {some}),
        nothing("a range behind the end", http::status::range_not_satisfiable, {none}),
        whole("two fields with a range each", {some, {http::field::range, "bytes=5-6"}}),
        part("a range of this state", {some, {http::field::if_range, present_tag}}),
        whole("a range of another state", {some, {http::field::if_range, "\"old\""}}),
        whole("a range of a weak tag", {some, {http::field::if_range, std::string("W/") + present_tag}}),
        whole("a range of a date", {some, {http::field::if_range, "Fri, 20 Nov 2026 12:00:00 GMT"}}),
        whole("a range behind the end of another state", {none, {http::field::if_range, "\"old\""}}),
        nothing("a range behind the end of this state", http::status::range_not_satisfiable,
                {none, {http::field::if_range, present_tag}}),
        whole("a range of no state at all", {some, {http::field::if_range, ""}}),
        whole("a condition without a range", {{http::field::if_range, present_tag}})));

INSTANTIATE_TEST_SUITE_P(
    Conditions, DeliveryPlanTest,
    testing::Values(
        whole("matches", {{http::field::if_match, present_tag}}),
        part("matches, with a range", {some, {http::field::if_match, present_tag}}),
        nothing("does not match", http::status::precondition_failed,
                {some, {http::field::if_match, "\"old\""}}),
        nothing("matches no state at all", http::status::precondition_failed, {{http::field::if_match, ""}}),
        whole("is known of no state at all", {{http::field::if_none_match, ""}}),
        whole("one of two fields matches",
              {{http::field::if_match, "\"old\""}, {http::field::if_match, present_tag}}),
        nothing("is known already", http::status::not_modified,
                {{http::field::if_none_match, std::string("W/") + present_tag}}),
        nothing("is known already, with a range", http::status::not_modified,
                {some, {http::field::if_none_match, "*"}}),
        whole("is not known", {{http::field::if_none_match, "\"old\""}}),
        nothing("does not match and is known", http::status::precondition_failed,
                {{http::field::if_match, "\"old\""}, {http::field::if_none_match, present_tag}})));

INSTANTIATE_TEST_SUITE_P(
    Heads, DeliveryPlanTest,
    testing::Values(nothing("head", http::status::ok, {}, http::verb::head),
                    nothing("head with a range", http::status::ok, {some}, http::verb::head),
                    nothing("head of what is known", http::status::not_modified,
                            {{http::field::if_none_match, present_tag}}, http::verb::head)));

TEST(DeliveryPlanOfAnEmptyFile, IsAnAnswerWithoutABody) {
  auto const plan = plan_delivery(header_of(http::verb::get, "/firmware/abc"), {0, present_tag});
  EXPECT_EQ(plan.head.status, http::status::ok);
  EXPECT_EQ(plan.head.content_length, 0U);
  EXPECT_EQ(plan.body, byte_range());
}

}  // namespace
}  // namespace tavi::site
