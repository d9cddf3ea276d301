#include "firmware/firmware_request.h"

#include <algorithm>
#include <ostream>
#include <string>
#include <utility>
#include <vector>

#include <boost/beast/http/verb.hpp>
#include <gtest/gtest.h>

namespace tavi::site::firmware {
namespace {

namespace beast_http = boost::beast::http;
using fields = std::vector<std::pair<beast_http::field, std::string>>;

http::request_header header_of(beast_http::verb method, std::string const& target, fields const& added = {}) {
  http::request_header header;
  header.version(11);
  header.method(method);
  header.target(target);
  for (auto const& [name, value] : added) {
    header.insert(name, value);
  }
  return header;
}

std::string field_of(delivery_plan const& plan, beast_http::field name) {
  auto const found = std::find_if(plan.head.fields.begin(), plan.head.fields.end(),
                                  [&](auto const& field) { return field.first == name; });
  return found == plan.head.fields.end() ? "" : found->second;
}

constexpr auto present_tag = "\"a1-3e8\"";
file_state const thousand_bytes{1000, present_tag};

struct plan_case {
  char const* situation;
  beast_http::verb method;
  fields added;
  beast_http::status status;
  byte_range body;
  std::string content_range;
};

void PrintTo(plan_case const& row, std::ostream* out) {
  *out << row.situation;
}

plan_case sent_whole(char const* situation, fields added) {
  return {situation, beast_http::verb::get, std::move(added), beast_http::status::ok, {0, 1000}, ""};
}

plan_case sent_part(char const* situation, fields added) {
  return {situation,  beast_http::verb::get, std::move(added), beast_http::status::partial_content,
          {100, 100}, "bytes 100-199/1000"};
}

plan_case sent_nothing(char const* situation, beast_http::status status, fields added,
                       beast_http::verb method = beast_http::verb::get) {
  auto const range = status == beast_http::status::range_not_satisfiable ? "bytes */1000" : "";
  return {situation, method, std::move(added), status, {}, range};
}

class DeliveryPlanTest : public testing::TestWithParam<plan_case> {};

TEST_P(DeliveryPlanTest, IsMadeAsTheRowSays) {
  auto const& row = GetParam();
  auto const plan = plan_delivery(header_of(row.method, "/firmware/abc", row.added), thousand_bytes);

  EXPECT_EQ(plan.head.status, row.status);
  EXPECT_EQ(plan.body, row.body);
  EXPECT_EQ(field_of(plan, beast_http::field::content_range), row.content_range);
  EXPECT_EQ(field_of(plan, beast_http::field::etag), present_tag);
  EXPECT_EQ(field_of(plan, beast_http::field::accept_ranges), "bytes");
  EXPECT_EQ(field_of(plan, beast_http::field::cache_control), "private, no-store");
  if (row.method == beast_http::verb::head && row.status == beast_http::status::ok) {
    EXPECT_EQ(plan.head.content_length, 1000U);
  } else {
    EXPECT_EQ(plan.head.content_length, row.body.count);
  }
}

std::pair<beast_http::field, std::string> const some{beast_http::field::range, "bytes=100-199"};
std::pair<beast_http::field, std::string> const none{beast_http::field::range, "bytes=1000-"};

INSTANTIATE_TEST_SUITE_P(
    Ranges, DeliveryPlanTest,
    testing::Values(
        sent_whole("no range", {}), sent_part("a range", {some}),
        sent_nothing("a range behind the end", beast_http::status::range_not_satisfiable, {none}),
        sent_whole("two fields with a range each", {some, {beast_http::field::range, "bytes=5-6"}}),
        sent_part("a range of this state", {some, {beast_http::field::if_range, present_tag}}),
        sent_whole("a range of another state", {some, {beast_http::field::if_range, "\"old\""}}),
        sent_whole("a range of a weak tag",
                   {some, {beast_http::field::if_range, std::string("W/") + present_tag}}),
        sent_whole("a range of a date",
                   {some, {beast_http::field::if_range, "Fri, 20 Nov 2026 12:00:00 GMT"}}),
        sent_whole("a range behind the end of another state",
                   {none, {beast_http::field::if_range, "\"old\""}}),
        sent_nothing("a range behind the end of this state", beast_http::status::range_not_satisfiable,
                     {none, {beast_http::field::if_range, present_tag}}),
        sent_whole("a range of no state at all", {some, {beast_http::field::if_range, ""}}),
        sent_whole("a range of a part of the tag", {some, {beast_http::field::if_range, "\"a1\""}}),
        sent_whole("a range of several tags",
                   {some, {beast_http::field::if_range, std::string(present_tag) + ", \"old\""}}),
        sent_whole("a range of any state", {some, {beast_http::field::if_range, "*"}}),
        sent_whole("a condition without a range", {{beast_http::field::if_range, present_tag}}),
        sent_whole("a condition that is not looked at", {{beast_http::field::if_none_match, present_tag}})));

INSTANTIATE_TEST_SUITE_P(Heads, DeliveryPlanTest,
                         testing::Values(sent_nothing("head", beast_http::status::ok, {},
                                                      beast_http::verb::head),
                                         sent_nothing("head with a range", beast_http::status::ok, {some},
                                                      beast_http::verb::head)));

TEST(DeliveryPlanOfAnEmptyFile, IsAnAnswerWithoutABody) {
  auto const plan = plan_delivery(header_of(beast_http::verb::get, "/firmware/abc"), {0, present_tag});
  EXPECT_EQ(plan.head.status, beast_http::status::ok);
  EXPECT_EQ(plan.head.content_length, 0U);
  EXPECT_EQ(plan.body, byte_range());
}

}  // namespace
}  // namespace tavi::site::firmware
