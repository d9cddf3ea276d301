#include "web_location.h"

#include <string>
#include <vector>

#include <gtest/gtest.h>

namespace {

using namespace tavi::simulator;

struct location_row {
  char const* name;
  std::string text;
  web_location expected;
};

TEST(WebLocation, TakesUsableLocationsApart) {
  std::vector<location_row> const rows = {
      {"host, port and path", "http://10.0.0.1:8080/upload/abc", {"10.0.0.1", "8080", "/upload/abc"}},
      {"path with a slash at its end", "http://a:1/u/", {"a", "1", "/u/"}},
      {"no port", "http://site.local/u", {"site.local", "80", "/u"}},
      {"no path", "http://site_1:65535", {"site_1", "65535", "/"}},
      {"neither port nor path", "http://site-1", {"site-1", "80", "/"}},
      {"IPv6", "http://[::1]:8080/u", {"::1", "8080", "/u"}},
      {"IPv6 without port", "http://[fe80::1]/u", {"fe80::1", "80", "/u"}},
      {"colon in the path", "http://a/u:1", {"a", "80", "/u:1"}},
      {"encoded path", "http://a/%20", {"a", "80", "/%20"}},
  };
  for (auto const& row : rows) {
    SCOPED_TRACE(row.name);
    auto const location = parse_web_location(row.text, "http");
    ASSERT_TRUE(location.has_value());
    EXPECT_EQ(location->host, row.expected.host);
    EXPECT_EQ(location->port, row.expected.port);
    EXPECT_EQ(location->path, row.expected.path);
  }
}

TEST(WebLocation, RefusesEverythingElse) {
  std::vector<std::pair<char const*, std::string>> const rows = {
      {"empty", ""},
      {"no scheme", "10.0.0.1:8080/upload"},
      {"another scheme", "https://a/u"},
      {"file transfer", "ftp://a/u"},
      {"scheme in capitals", "HTTP://a/u"},
      {"scheme alone", "http://"},
      {"no host", "http:///u"},
      {"no host but a port", "http://:80/u"},
      {"port 0", "http://a:0/u"},
      {"port too large", "http://a:65536/u"},
      {"negative port", "http://a:-1/u"},
      {"port with a sign", "http://a:+1/u"},
      {"port of letters", "http://a:b/u"},
      {"empty port", "http://a:/u"},
      {"two ports", "http://a:1:2/u"},
      {"user", "http://me@a/u"},
      {"user and password", "http://me:secret@a/u"},
      {"query", "http://a/u?x"},
      {"query without a path", "http://a?x"},
      {"fragment", "http://a/u#x"},
      {"blank", "http://a/u v"},
      {"blank before", " http://a/u"},
      {"line break", "http://a/u\r\nHost: b"},
      {"null byte", std::string("http://a/u\0v", 12)},
      {"byte beyond ASCII", "http://a/\xc3\xbc"},
      {"IPv6 left open", "http://[::1/u"},
      {"empty IPv6", "http://[]/u"},
      {"letters in brackets", "http://[host]/u"},
      {"text after brackets", "http://[::1]x/u"},
  };
  for (auto const& [name, text] : rows) {
    EXPECT_FALSE(parse_web_location(text, "http").has_value()) << name;
  }
}

TEST(WebLocation, AcceptsTheAskedSchemeOnly) {
  EXPECT_TRUE(parse_web_location("ws://a/ocpp", "ws").has_value());
  EXPECT_FALSE(parse_web_location("http://a/ocpp", "ws").has_value());
  EXPECT_FALSE(parse_web_location("wss://a/ocpp", "ws").has_value());
}

TEST(WebLocation, EncodesWhatCannotStandInASegment) {
  EXPECT_EQ(encode_path_segment("diagnostics_CS-1.tar.gz~"), "diagnostics_CS-1.tar.gz~");
  EXPECT_EQ(encode_path_segment("a b/c?d%e"), "a%20b%2Fc%3Fd%25e");
  EXPECT_EQ(encode_path_segment("\xc3\xbc\n"), "%C3%BC%0A");
  EXPECT_EQ(encode_path_segment(""), "");
}

TEST(WebLocation, AppendsASegmentAfterExactlyOneSlash) {
  EXPECT_EQ(append_segment("/u", "f"), "/u/f");
  EXPECT_EQ(append_segment("/u/", "f"), "/u/f");
  EXPECT_EQ(append_segment("/", "f g"), "/f%20g");
}

TEST(WebLocation, WritesTheHostField) {
  EXPECT_EQ(host_field({"a", "80", "/"}), "a");
  EXPECT_EQ(host_field({"a", "8080", "/"}), "a:8080");
  EXPECT_EQ(host_field({"::1", "8080", "/"}), "[::1]:8080");
}

}  // namespace
