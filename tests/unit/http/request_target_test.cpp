#include "request_target.h"

#include <ostream>
#include <string>

#include <boost/beast/http/field.hpp>
#include <gtest/gtest.h>

namespace tavi::http {
namespace {

namespace beast_http = boost::beast::http;

struct target_case {
  char const* situation;
  std::string target;
  std::string origin_form;
};

void PrintTo(target_case const& row, std::ostream* out) {
  *out << row.situation;
}

class OriginFormTest : public testing::TestWithParam<target_case> {};

TEST_P(OriginFormTest, IsWhatTheRowSays) {
  EXPECT_EQ(to_origin_form(GetParam().target), GetParam().origin_form);
}

INSTANTIATE_TEST_SUITE_P(
    Situations, OriginFormTest,
    testing::Values(target_case{"origin form", "/upload/abc?x", "/upload/abc?x"},
                    target_case{"empty", "", ""}, target_case{"asterisk", "*", "*"},
                    target_case{"authority", "site:80", "site:80"},
                    target_case{"absolute form", "http://site/upload/abc?x", "/upload/abc?x"},
                    target_case{"with a port", "http://site:8180/a", "/a"},
                    target_case{"with an address of brackets", "http://[::1]:80/a", "/a"},
                    target_case{"scheme in capitals", "HTTP://site/a", "/a"},
                    target_case{"without a path", "http://site", "/"},
                    target_case{"query without a path", "http://site?x/y", "/?x/y"},
                    target_case{"path with another address", "http://site/http://other/b", "/http://other/b"},
                    target_case{"address within a path", "/http://other/b", "/http://other/b"},
                    target_case{"without a host", "http:///a", "http:///a"},
                    target_case{"scheme alone", "http://", "http://"},
                    target_case{"beginning of the scheme", "http:/a", "http:/a"},
                    target_case{"another scheme", "ftp://site/a", "ftp://site/a"},
                    target_case{"any bytes", "http://\xff\x01/\xfe", "/\xfe"}));

request_header header_of(unsigned int version, int hosts) {
  request_header header;
  header.version(version);
  for (int number = 0; number < hosts; ++number) {
    header.insert(beast_http::field::host, "site");
  }
  return header;
}

TEST(ProperHost, StandsThereOnceAndMayBeMissingInOldRequests) {
  EXPECT_TRUE(has_proper_host(header_of(11, 1)));
  EXPECT_FALSE(has_proper_host(header_of(11, 0)));
  EXPECT_FALSE(has_proper_host(header_of(11, 2)));
  EXPECT_TRUE(has_proper_host(header_of(10, 0)));
  EXPECT_TRUE(has_proper_host(header_of(10, 1)));
  EXPECT_FALSE(has_proper_host(header_of(10, 2)));
}

TEST(ProperHost, MayBeEmpty) {
  request_header header;
  header.version(11);
  header.insert(beast_http::field::host, "");
  EXPECT_TRUE(has_proper_host(header));
}

}  // namespace
}  // namespace tavi::http
