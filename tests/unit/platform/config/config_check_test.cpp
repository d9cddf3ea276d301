#include <filesystem>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "config_fixture.h"
#include "without_privileges.h"

namespace mura_common {
namespace {

constexpr auto warning = spdlog::level::warn;

class ConfigurationKeys : public Configuration {
 protected:
  /// Loads a text, asks for "report.count" and "report.period", and has the keys checked.
  /// @return the warnings, without what they begin with
  std::vector<std::string> warnings_about(std::string const& text) {
    auto const begin = "[toml_config] " + load(text).string() + ": ";
    static_cast<void>(config.getParam<unsigned int>("report.count"));
    static_cast<void>(config.getParam<std::chrono::seconds>("report.period"));
    log.clear();
    config.check_keys();
    std::vector<std::string> warnings;
    for (auto const& line : log.lines()) {
      EXPECT_EQ(line.level, warning);
      EXPECT_TRUE(line.text.starts_with(begin)) << line.text;
      warnings.push_back(line.text.substr(begin.size()));
    }
    return warnings;
  }
};

TEST_F(ConfigurationKeys, ThatSomebodyAskedForAreNotSpokenOf) {
  EXPECT_TRUE(warnings_about("[report]\ncount = 1\nperiod = 2\n"
                             "[limits.report]\ncount = { min = 0, max = 9 }\nperiod = { max = 9 }\n")
                  .empty());
}

TEST_F(ConfigurationKeys, ThatNobodyKnowsAreNamedWithTheNearestOfTheirTable) {
  EXPECT_EQ(warnings_about("[report]\ncount = 1\nperoid = 2\n"),
            (std::vector<std::string>{"'report.peroid' is not known here, did you mean 'report.period'?"}));
}

TEST_F(ConfigurationKeys, FarFromAllOthersAreNamedAlone) {
  EXPECT_EQ(warnings_about("[report]\ncount = 1\nperiod = 2\ncolour = [1, 2]\n"),
            (std::vector<std::string>{"'report.colour' is not known here"}));
}

TEST_F(ConfigurationKeys, OfAMistypedTableAreNamedWithTheNearestOfAll) {
  EXPECT_EQ(warnings_about("[raport]\ncount = 1\n"),
            (std::vector<std::string>{"'raport.count' is not known here, did you mean 'report.count'?"}));
}

TEST_F(ConfigurationKeys, OfLimitsAreNamedWhenTheyLimitNothing) {
  EXPECT_EQ(warnings_about("[limits.report]\ncuont = { min = 1 }\ncount = { maxx = 1 }\n"),
            (std::vector<std::string>{
                "'limits.report.count.maxx' is not known here, did you mean 'limits.report.count.max'?",
                "'limits.report.cuont.min' is not known here, did you mean 'limits.report.count.min'?"}));
}

TEST_F(ConfigurationKeys, AreThoseOfTheFileLoadedLast) {
  load("[old]\nname = 1\n");
  static_cast<void>(config.getParam<unsigned int>("old.name"));
  EXPECT_EQ(warnings_about("[old]\nname = 1\n"), (std::vector<std::string>{"'old.name' is not known here"}));
}

class ConfigurationSaving : public Configuration {
 protected:
  ConfigurationSaving() { std::filesystem::permissions(folder.path(), std::filesystem::perms(0755)); }

  std::filesystem::path make_folder(std::string const& name, unsigned int mode) const {
    auto const made = folder.path() / name;
    std::filesystem::create_directory(made);
    std::filesystem::permissions(made, std::filesystem::perms(mode));
    return made;
  }
};

TEST_F(ConfigurationSaving, IsNotSpokenOfWhereItIsPossible) {
  load("[a]\nb = 1\n");
  EXPECT_TRUE(config.check_saving());
  EXPECT_TRUE(log.lines().empty());
}

TEST_F(ConfigurationSaving, ThatWillFailIsToldWithFolderAndRemedy) {
  auto const closed = make_folder("closed", 0755);
  folder.write("closed/service.toml", "[a]\nb = 1\n");
  std::filesystem::permissions(closed, std::filesystem::perms(0555));
  ASSERT_TRUE(config.load(closed / "service.toml"));
  {
    without_privileges const user;
    EXPECT_FALSE(config.check_saving());
  }
  ASSERT_EQ(log.lines().size(), 1U);
  EXPECT_TRUE(log.holds(warning, "will not be saved: folder " + closed.string() + ": Permission denied"));
  EXPECT_TRUE(log.holds(warning, "let the user of this process write to it"));
}

TEST_F(ConfigurationSaving, CountsTheFolderOfTheFileBehindALink) {
  auto const closed = make_folder("closed", 0755);
  auto const open = make_folder("open", 0777);
  folder.write("open/real.toml", "[a]\nb = 1\n");
  std::filesystem::create_symlink(open / "real.toml", closed / "service.toml");
  std::filesystem::permissions(closed, std::filesystem::perms(0555));
  ASSERT_TRUE(config.load(closed / "service.toml"));
  without_privileges const user;
  EXPECT_TRUE(config.check_saving());
}

}  // namespace
}  // namespace mura_common
