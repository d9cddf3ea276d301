#include "site_command_line.h"

#include <vector>

#include <gtest/gtest.h>

namespace tavi::site {
namespace {

std::variant<site_arguments, site_exit> parse(std::vector<char const*> arguments) {
  arguments.insert(arguments.begin(), "tavi_site");
  return parse_site_command_line(static_cast<int>(arguments.size()), arguments.data());
}

site_exit end_of(std::vector<char const*> const& arguments) {
  auto const parsed = parse(arguments);
  return std::holds_alternative<site_exit>(parsed) ? std::get<site_exit>(parsed) : site_exit{-1, "none"};
}

TEST(SiteCommandLine, LeavesToTheConfigurationWhatItDoesNotSay) {
  auto const given = std::get<site_arguments>(parse({"--config", "a.toml", "--state-dir", "kept"}));
  EXPECT_EQ(given.config, "a.toml");
  EXPECT_EQ(given.state_folder, "kept");
  EXPECT_FALSE(given.port.has_value());
  EXPECT_EQ(given.address, "");
}

TEST(SiteCommandLine, TakesPortAndAddress) {
  auto const given = std::get<site_arguments>(
      parse({"--config", "a", "--state-dir", "b", "--port", "0", "--address", "127.0.0.2"}));
  EXPECT_EQ(given.port, 0);
  EXPECT_EQ(given.address, "127.0.0.2");
}

TEST(SiteCommandLine, HelpIsNoFault) {
  auto const end = end_of({"--help"});
  EXPECT_EQ(end.code, 0);
  EXPECT_NE(end.text.find("--state-dir"), std::string::npos);
}

TEST(SiteCommandLine, VersionIsNoFault) {
  EXPECT_EQ(end_of({"--version"}).code, 0);
  EXPECT_EQ(end_of({"--version"}).text, "tavi_site " SITE_VERSION "\n");
}

TEST(SiteCommandLine, UnknownOptionIsToldWithTheNearestOneBeforeAnythingElse) {
  auto const end = end_of({"--confg", "a.toml"});
  EXPECT_EQ(end.code, 2);
  EXPECT_EQ(end.text, "tavi_site: \"--confg\" is not known here: did you mean \"--config\"? (see --help)\n");
}

TEST(SiteCommandLine, WrongUsageIsToldInOneLine) {
  for (auto const& arguments :
       std::vector<std::vector<char const*>>{{},
                                             {"--config", "a"},
                                             {"--config", "a", "--state-dir", "b", "--port", "65536"},
                                             {"--config", "a", "--state-dir", "b", "--port", "http"}}) {
    auto const end = end_of(arguments);
    EXPECT_EQ(end.code, 2);
    EXPECT_TRUE(end.text.starts_with("tavi_site: ")) << end.text;
    EXPECT_TRUE(end.text.ends_with(" (see --help)\n")) << end.text;
  }
}

}  // namespace
}  // namespace tavi::site
