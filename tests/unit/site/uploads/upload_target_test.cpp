#include "uploads/upload_target.h"

#include <optional>
#include <ostream>
#include <string>

#include <gtest/gtest.h>

namespace tavi::site {
namespace {

using std::string_literals::operator""s;

struct good_target {
  std::string target;
  std::string token;
  std::string name;
};

void PrintTo(good_target const& row, std::ostream* out) {
  *out << row.target.substr(0, 60);
}

class GoodUploadTargetTest : public testing::TestWithParam<good_target> {};

TEST_P(GoodUploadTargetTest, GivesTokenAndName) {
  auto const parsed = parse_upload_target(GetParam().target);

  ASSERT_TRUE(parsed.has_value());
  EXPECT_EQ(parsed->token, GetParam().token);
  EXPECT_EQ(parsed->name, GetParam().name);
}

INSTANTIATE_TEST_SUITE_P(
    Situations, GoodUploadTargetTest,
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

class BadUploadTargetTest : public testing::TestWithParam<char const*> {};

TEST_P(BadUploadTargetTest, IsRefused) {
  EXPECT_FALSE(parse_upload_target(GetParam()).has_value());
}

INSTANTIATE_TEST_SUITE_P(Situations, BadUploadTargetTest,
                         testing::Values("", "/", "/upload", "/upload/", "/upload//a.zip",
                                         "/upload/?token=abc", "/upload/#abc", "/uploads/abc", "/Upload/abc",
                                         "upload/abc", "/upload/ab%", "/upload/ab%g0", "/upload/abc/x%1"));

}  // namespace
}  // namespace tavi::site
