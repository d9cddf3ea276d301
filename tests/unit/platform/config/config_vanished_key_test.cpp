#include <chrono>
#include <filesystem>
#include <fstream>
#include <ostream>
#include <string>

#include <gtest/gtest.h>

#include "config_fixture.h"

namespace mura_common {
namespace {

namespace fs = std::filesystem;
using namespace std::chrono_literals;
using std::chrono::seconds;

TEST_F(Configuration, NamesTheKeyThatHasVanishedAndTreatsItAsMissing) {
  auto const file = load("[a]\nb = 1\nc = 1\n");
  auto handle = parameter<unsigned int>("a.b");
  handle.set(2);
  parameter<unsigned int>("a.c").set(2);
  folder.write("service.toml", "[a]\nc = 1\n");
  EXPECT_FALSE(config.save());
  EXPECT_EQ(error_count(), 1U);
  EXPECT_TRUE(log.holds(error_level, file.string()));
  EXPECT_TRUE(log.holds(error_level, "'a.b'"));
  EXPECT_EQ(content_of(file), "[a]\nc = 1\n");
  EXPECT_FALSE(config.getParam<unsigned int>("a.b").has_value());
  EXPECT_EQ(handle.value(), 2U);
  EXPECT_EQ(parameter<unsigned int>("a.c").value(), 2U);
}

TEST_F(Configuration, MissesAKeyAsSoonAsItHasVanished) {
  auto const file = load("[a]\nb = 1\nc = 1\n");
  auto const early = parameter<unsigned int>("a.b");
  folder.write("service.toml", "[a]\nc = 1\n");
  EXPECT_FALSE(config.getParam<unsigned int>("a.b").has_value());
  EXPECT_TRUE(log.holds(error_level, file.string() + ": 'a.b' is missing, expected an integer"));
  EXPECT_EQ(early.value(), 1U);
  parameter<unsigned int>("a.c").set(2);
  EXPECT_TRUE(config.save());
  EXPECT_EQ(content_of(file), "[a]\nc = 2\n");
}

TEST_F(Configuration, FindsAKeyThatWasPutBackWithTheValueInForce) {
  load("a = 1\nb = 1\n");
  parameter<unsigned int>("a").set(2);
  ASSERT_TRUE(config.save());
  for (auto const* const key : {"a", "b"}) {
    folder.write("service.toml", "");
    EXPECT_FALSE(config.getParam<unsigned int>(key).has_value());
    folder.write("service.toml", "a = 7\nb = 7\n");
    EXPECT_EQ(parameter<unsigned int>(key).value(), key == std::string("a") ? 2U : 1U);
  }
  EXPECT_TRUE(config.save());
  EXPECT_EQ(content_of(folder.path() / "service.toml"), "a = 7\nb = 7\n");
}

TEST_F(Configuration, SavesAVanishedKeyThatWasPutBack) {
  auto const file = load("a = 1\n");
  parameter<unsigned int>("a").set(2);
  folder.write("service.toml", "");
  ASSERT_FALSE(config.save());
  EXPECT_FALSE(config.save());
  folder.write("service.toml", "a = 5\n");
  EXPECT_EQ(parameter<unsigned int>("a").value(), 2U);
  EXPECT_TRUE(config.save());
  EXPECT_EQ(content_of(file), "a = 2\n");
  EXPECT_EQ(parameter<unsigned int>("a").value(), 2U);
}

TEST_F(Configuration, MissesAKeyWhoseValueNoLongerFits) {
  load("a = 1\n");
  for (auto const* const value : {"-1", "4294967296", "'one'", "true", "[1]", "{ b = 1 }"}) {
    folder.write("service.toml", std::string("a = ") + value + "\n");
    EXPECT_FALSE(config.getParam<unsigned int>("a").has_value()) << value;
  }
  folder.write("service.toml", "a = 4294967295\n");
  EXPECT_EQ(parameter<unsigned int>("a").value(), 1U);
}

TEST_F(Configuration, MissesAKeyThatWasNotThereAtLoadingUntilItIsLoaded) {
  auto const file = load("a = 1\n");
  folder.write("service.toml", "a = 1\nb = 2\n");
  EXPECT_FALSE(config.getParam<unsigned int>("b").has_value());
  EXPECT_TRUE(log.holds(error_level, "'b' is not in force, as the file was loaded without it"));
  ASSERT_TRUE(config.load(file));
  EXPECT_EQ(parameter<unsigned int>("b").value(), 2U);
}

TEST_F(Configuration, MissesAParameterSetToWhatIsNoValue) {
  load("t = 5\n");
  parameter<seconds>("t").set(-1s);
  EXPECT_FALSE(config.getParam<seconds>("t").has_value());
  EXPECT_TRUE(log.holds(error_level, "'t' is in force as -1, expected an integer number of seconds"));
}

/// What may happen to a file so that it tells nothing any more.
struct unusable_file {
  char const* name;
  void (*given)(fs::path const&);
};

void PrintTo(unusable_file const& row, std::ostream* out) {
  *out << row.name;
}

class UnusableFile : public Configuration, public testing::WithParamInterface<unusable_file> {
 protected:
  static void write(fs::path const& file, std::string const& text) { std::ofstream(file) << text; }
};

TEST_P(UnusableFile, CountsAsItWasLastSeen) {
  auto const file = load("a = 1\nb = 1\n");
  write(file, "b = 1\n");
  ASSERT_FALSE(config.getParam<unsigned int>("a").has_value());
  log.clear();
  GetParam().given(file);
  EXPECT_EQ(parameter<unsigned int>("b").value(), 1U);
  EXPECT_TRUE(log.lines().empty());
  EXPECT_FALSE(config.getParam<unsigned int>("a").has_value());

  parameter<unsigned int>("b").set(2);
  EXPECT_FALSE(config.save());
  EXPECT_TRUE(log.holds(error_level, file.string() + ": "));
  fs::remove_all(file);
  write(file, "a = 1\nb = 1\n");
  EXPECT_EQ(parameter<unsigned int>("a").value(), 1U);
  EXPECT_TRUE(config.save());
  EXPECT_EQ(content_of(file), "a = 1\nb = 2\n");
}

INSTANTIATE_TEST_SUITE_P(
    Situations, UnusableFile,
    testing::Values(unusable_file{"Gone", [](fs::path const& file) { fs::remove(file); }},
                    unusable_file{"NoToml", [](fs::path const& file) { std::ofstream(file) << "a ="; }},
                    unusable_file{
                        "TooLarge",
                        [](fs::path const& file) { std::ofstream(file) << "#" << std::string(65536, 'x'); }},
                    unusable_file{"AFolder",
                                  [](fs::path const& file) {
                                    fs::remove(file);
                                    fs::create_directory(file);
                                  }}),
    [](auto const& row) { return std::string(row.param.name); });

TEST_F(Configuration, TreatsAKeyOfAnotherTypeAsVanished) {
  auto const file = load("a = 1\n");
  parameter<unsigned int>("a").set(2);
  folder.write("service.toml", "a = 'one'\n");
  EXPECT_FALSE(config.save());
  EXPECT_TRUE(log.holds(error_level, "'a' is of another type (string)"));
  EXPECT_EQ(content_of(file), "a = 'one'\n");
  EXPECT_FALSE(config.getParam<unsigned int>("a").has_value());
}

}  // namespace
}  // namespace mura_common
