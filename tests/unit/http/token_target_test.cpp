#include "token_target.h"

#include <algorithm>
#include <ostream>
#include <string>
#include <variant>

#include <gtest/gtest.h>

namespace tavi::http {
namespace {

using std::string_literals::operator""s;

namespace beast_http = boost::beast::http;
using beast_http::verb;

token_location const location{
    "/upload/", "upload", {verb::put, verb::post}, "files are uploaded with PUT or POST"};

std::variant<token_target, http_answer> find(std::string const& target, verb method = verb::put) {
  request_header header;
  header.method(method);
  header.target(target);
  return find_token_target(header, location);
}

struct good_target {
  std::string target;
  std::string token;
  std::string name;
};

void PrintTo(good_target const& row, std::ostream* out) {
  *out << row.target.substr(0, 60);
}

class GoodTokenTarget : public testing::TestWithParam<good_target> {};

TEST_P(GoodTokenTarget, GivesTokenAndName) {
  auto const found = find(GetParam().target);

  ASSERT_TRUE(std::holds_alternative<token_target>(found));
  EXPECT_EQ(std::get<token_target>(found).token, GetParam().token);
  EXPECT_EQ(std::get<token_target>(found).file_name, GetParam().name);
}

INSTANTIATE_TEST_SUITE_P(
    Situations, GoodTokenTarget,
    testing::Values(good_target{"/upload/abc", "abc", ""}, good_target{"/upload/abc/", "abc", ""},
                    good_target{"/upload/abc/a.zip", "abc", "a.zip"},
                    good_target{"/upload/a-_Z9/r%C3%A9port.zip", "a-_Z9", "r\xc3\xa9port.zip"},
                    good_target{"/upload/abc/../../etc/passwd", "abc", "../../etc/passwd"},
                    good_target{"/upload/abc/..%2f..%2fx", "abc", "../../x"},
                    good_target{"/upload/abc//x", "abc", "/x"}, good_target{"/upload/abc/x/", "abc", "x/"},
                    good_target{"/upload/abc/a%00b", "abc", "a\0b"s},
                    good_target{"/upload/abc/%ff%fe", "abc", "\xff\xfe"},
                    good_target{"/upload/ab%2Fc/x", "ab/c", "x"}, good_target{"/upload/abc?to=x", "abc", ""},
                    good_target{"/upload/abc/x?y=/z", "abc", "x"}, good_target{"/upload/abc/x#y", "abc", "x"},
                    good_target{"/upload/abc/" + std::string(300, 'n'), "abc", std::string(300, 'n')}));

class BadTokenTarget : public testing::TestWithParam<char const*> {};

TEST_P(BadTokenTarget, IsABadRequestWhateverTheMethod) {
  for (auto const method : {verb::put, verb::get}) {
    auto const found = find(GetParam(), method);
    ASSERT_TRUE(std::holds_alternative<http_answer>(found));
    EXPECT_EQ(std::get<http_answer>(found).status, beast_http::status::bad_request);
    EXPECT_EQ(std::get<http_answer>(found).text, "upload location malformed");
  }
}

INSTANTIATE_TEST_SUITE_P(Situations, BadTokenTarget,
                         testing::Values("", "/", "/upload", "/upload/", "/upload//a.zip",
                                         "/upload/?token=abc", "/upload/#abc", "/uploads/abc", "/Upload/abc",
                                         "upload/abc", "/upload/ab%", "/upload/ab%g0", "/upload/abc/x%1"));

class MethodOfATokenTarget : public testing::TestWithParam<verb> {};

TEST_P(MethodOfATokenTarget, MustBeOneOfTheLocation) {
  auto const& allowed = location.methods;
  auto const is_allowed = std::find(allowed.begin(), allowed.end(), GetParam()) != allowed.end();
  auto const found = find("/upload/abc/x", GetParam());

  ASSERT_EQ(std::holds_alternative<token_target>(found), is_allowed);
  if (!is_allowed) {
    auto const& refusal = std::get<http_answer>(found);
    EXPECT_EQ(refusal.status, beast_http::status::method_not_allowed);
    EXPECT_EQ(refusal.text, "files are uploaded with PUT or POST");
    EXPECT_EQ(refusal.allow, "PUT, POST");
  }
}

INSTANTIATE_TEST_SUITE_P(Methods, MethodOfATokenTarget,
                         testing::Values(verb::put, verb::post, verb::get, verb::head, verb::delete_,
                                         verb::options, verb::trace));

}  // namespace
}  // namespace tavi::http
