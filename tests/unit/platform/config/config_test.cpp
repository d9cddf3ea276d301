#include "mura_common/config.h"

#include <sys/stat.h>
#include <unistd.h>

#include <atomic>
#include <chrono>
#include <filesystem>
#include <limits>
#include <ostream>
#include <string>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

#include "config_fixture.h"

namespace mura_common {
namespace {

namespace fs = std::filesystem;
using namespace std::chrono_literals;
using std::chrono::seconds;

TEST_F(Configuration, ReadsValuesOfEachType) {
  load("top = 1\n[a]\ncount = 4294967295\ntime = 3_600\nname = 'x'\n[a.b]\ndeep = 0x10\n");
  EXPECT_EQ(parameter<unsigned int>("top").value(), 1U);
  EXPECT_EQ(parameter<unsigned int>("a.count").value(), 4294967295U);
  EXPECT_EQ(parameter<seconds>("a.time").value(), 1h);
  EXPECT_EQ(parameter<std::string>("a.name").value(), "x");
  EXPECT_EQ(parameter<unsigned int>("a.b.deep").value(), 16U);
  EXPECT_TRUE(log.lines().empty());
}

TEST_F(Configuration, ReadsTheSameEntryAsNumberAndAsSeconds) {
  load("a = 5\nlong = 9223372036854775807\n");
  EXPECT_EQ(parameter<unsigned int>("a").value(), 5U);
  EXPECT_EQ(parameter<seconds>("a").value(), 5s);
  EXPECT_EQ(parameter<seconds>("long").value(), seconds(std::numeric_limits<std::int64_t>::max()));
}

enum class wanted_type { number, time, text };

struct absence_row {
  char const* name;
  char const* entry;
  wanted_type wanted;
  char const* found;
  char const* expected;
};

void PrintTo(absence_row const& row, std::ostream* out) {
  *out << row.name;
}

class AbsentParameter : public Configuration, public testing::WithParamInterface<absence_row> {
 protected:
  bool is_present(std::string const& key) {
    switch (GetParam().wanted) {
      case wanted_type::number:
        return config.getParam<unsigned int>(key).has_value();
      case wanted_type::time:
        return config.getParam<seconds>(key).has_value();
      default:
        return config.getParam<std::string>(key).has_value();
    }
  }
};

TEST_P(AbsentParameter, IsExplainedInOneLine) {
  auto const file = load(std::string("[a]\n") + GetParam().entry + "\n");
  EXPECT_FALSE(is_present("a.b"));
  ASSERT_EQ(log.lines().size(), 1U);
  std::vector<std::string> const parts{file.string(), "'a.b'", GetParam().found, GetParam().expected};
  for (auto const& part : parts) {
    EXPECT_TRUE(log.holds(error_level, part)) << part << " is not in: " << log.lines().front().text;
  }
}

constexpr char const* number_expected = "expected an integer from 0 to 4294967295";
constexpr char const* time_expected = "expected an integer number of seconds, 0 or more";

INSTANTIATE_TEST_SUITE_P(
    Situations, AbsentParameter,
    testing::Values(
        absence_row{"MissingNumber", "c = 1", wanted_type::number, "is missing", number_expected},
        absence_row{"MissingTime", "c = 1", wanted_type::time, "is missing", time_expected},
        absence_row{"MissingText", "c = 1", wanted_type::text, "is missing", "expected a string"},
        absence_row{"NegativeNumber", "b = -1", wanted_type::number, "is -1", number_expected},
        absence_row{"NegativeTime", "b = -1", wanted_type::time, "is -1", time_expected},
        absence_row{"NumberBeyond32Bits", "b = 4294967296", wanted_type::number, "is 4294967296",
                    number_expected},
        absence_row{"TimeBeyond64Bits", "b = 9223372036854775808", wanted_type::time,
                    "of type integer beyond 64 bits", time_expected},
        absence_row{"TextForNumber", "b = '1'", wanted_type::number, "is a string", number_expected},
        absence_row{"TextForTime", "b = '1'", wanted_type::time, "is a string", time_expected},
        absence_row{"NumberForText", "b = 17", wanted_type::text, "is 17", "expected a string"},
        absence_row{"Fraction", "b = 1.5", wanted_type::number, "of type floating-point number",
                    number_expected},
        absence_row{"Boolean", "b = true", wanted_type::text, "of type boolean", "expected a string"},
        absence_row{"Table", "b = { c = 1 }", wanted_type::number, "of type table", number_expected},
        absence_row{"Array", "b = [1]", wanted_type::time, "of type array", time_expected}),
    [](auto const& row) { return std::string(row.param.name); });

TEST_F(Configuration, HasNoParametersBeforeLoading) {
  EXPECT_FALSE(config.getParam<unsigned int>("a.b").has_value());
  EXPECT_TRUE(config.save());
}

TEST_F(Configuration, RefusesAFileThatCannotBeRead) {
  auto const missing = folder.path() / "missing.toml";
  EXPECT_FALSE(config.load(missing));
  EXPECT_TRUE(log.holds(error_level, missing.string()));
  EXPECT_FALSE(config.load(folder.path()));
  EXPECT_EQ(error_count(), 2U);
}

TEST_F(Configuration, SaysWhereExamplesAreWhenThereIsNoFile) {
  EXPECT_FALSE(config.load(folder.path() / "missing.toml"));
  EXPECT_TRUE(log.holds(error_level, "there is no such file; examples are in "));
  log.clear();
  EXPECT_FALSE(config.load(folder.path())) << "there is something, though no file";
  EXPECT_FALSE(log.holds(error_level, "examples are in "));
}

TEST_F(Configuration, IsEmptyAfterAFileThatIsNoToml) {
  load("[a]\nb = 1\n");
  auto const broken = folder.write("broken.toml", "[a]\nb = 1\nc = \n");
  EXPECT_FALSE(config.load(broken));
  ASSERT_EQ(error_count(), 1U);
  EXPECT_TRUE(log.holds(error_level, broken.string() + ": line 3"));
  EXPECT_FALSE(config.getParam<unsigned int>("a.b").has_value());
}

TEST_F(Configuration, RefusesAFileAboveTheSizeLimit) {
  auto const file = folder.write("large.toml", "#" + std::string(200000, 'x') + "\n");
  EXPECT_FALSE(config.load(file));
  EXPECT_TRUE(log.holds(error_level, "expected at most 65536"));
}

TEST_F(Configuration, ChecksNumbersAgainstTheirLimits) {
  load(
      "[a]\nn = 5\nt = 5\ns = 'x'\n[limits.a]\nn = { min = 3, max = 10 }\nt = { min = 60 }\ns = { max = 0 "
      "}\n");
  auto const number = parameter<unsigned int>("a.n");
  EXPECT_TRUE(number.check(3) && number.check(10));
  EXPECT_FALSE(number.check(2) || number.check(11));
  auto const time = parameter<seconds>("a.t");
  EXPECT_TRUE(time.check(60s) && time.check(seconds::max()));
  EXPECT_FALSE(time.check(59s) || time.check(-1s));
  EXPECT_TRUE(parameter<std::string>("a.s").check("anything"));
  EXPECT_TRUE(log.lines().empty());
}

TEST_F(Configuration, AdmitsEverythingButNegativeTimesWithoutLimits) {
  load("[a]\nn = 5\nt = 5\n");
  EXPECT_TRUE(parameter<unsigned int>("a.n").check(0));
  EXPECT_TRUE(parameter<unsigned int>("a.n").check(std::numeric_limits<unsigned int>::max()));
  EXPECT_TRUE(parameter<seconds>("a.t").check(0s));
  EXPECT_FALSE(parameter<seconds>("a.t").check(-1s));
}

TEST_F(Configuration, AdmitsNothingUnderMalformedLimitsAndSaysSo) {
  auto const file = load("[a]\nn = 5\n[limits.a]\nn = { min = 'low' }\n");
  EXPECT_FALSE(parameter<unsigned int>("a.n").check(5));
  EXPECT_TRUE(log.holds(error_level, file.string()));
  EXPECT_TRUE(log.holds(error_level, "'limits.a.n.min' is of type string, expected an integer"));
}

TEST_F(Configuration, SettingIsSeenThroughEveryHandleAndNotInTheFile) {
  std::string const text = "[a]\nb = 5\n";
  auto const file = load(text);
  auto const early = parameter<unsigned int>("a.b");
  auto setter = parameter<unsigned int>("a.b");
  setter.set(7);
  EXPECT_EQ(early.value(), 7U);
  EXPECT_EQ(parameter<unsigned int>("a.b").value(), 7U);
  EXPECT_EQ(content_of(file), text);
}

TEST_F(Configuration, SavesWhatWasSetAndNothingElse) {
  auto const file = load("# top\r\n[a] # table\r\nn = 0x5 # n = 5\r\nt=60\r\ns = 'old'\r\nother = 1_000");
  parameter<unsigned int>("a.n").set(6);
  parameter<seconds>("a.t").set(90s);
  parameter<std::string>("a.s").set("new \"x\"");
  EXPECT_TRUE(config.save());
  EXPECT_EQ(content_of(file),
            "# top\r\n[a] # table\r\nn = 6 # n = 5\r\nt=90\r\ns = \"new \\\"x\\\"\"\r\nother = 1_000");
  toml_config again;
  ASSERT_TRUE(again.load(file));
  EXPECT_EQ(again.getParam<std::string>("a.s").value().value(), "new \"x\"");
  EXPECT_TRUE(log.lines().empty());
}

TEST_F(Configuration, KeepsWhatTheOperatorWroteMeanwhile) {
  auto const file = load("[a]\nn = 1\nm = 1\n");
  parameter<unsigned int>("a.n").set(2);
  folder.write("service.toml", "# edited\n[z]\ny = true\n[a]\nm = 9 # mine\n\nn = 1\n");
  EXPECT_TRUE(config.save());
  EXPECT_EQ(content_of(file), "# edited\n[z]\ny = true\n[a]\nm = 9 # mine\n\nn = 2\n");
  EXPECT_EQ(parameter<unsigned int>("a.m").value(), 1U);
}

TEST_F(Configuration, OverwritesTheOperatorsValueOfAKeyThatWasSet) {
  auto const file = load("a = 1\n");
  parameter<unsigned int>("a").set(1);
  folder.write("service.toml", "a = 5\n");
  EXPECT_TRUE(config.save());
  EXPECT_EQ(content_of(file), "a = 1\n");
}

TEST_F(Configuration, LeavesTheFileAloneWhenItHoldsTheValuesAlready) {
  auto const file = load("a = 0x10\n");
  struct stat before = {};
  ASSERT_EQ(stat(file.c_str(), &before), 0);
  parameter<unsigned int>("a").set(16);
  EXPECT_TRUE(config.save());
  struct stat after = {};
  ASSERT_EQ(stat(file.c_str(), &after), 0);
  EXPECT_EQ(before.st_ino, after.st_ino);
  EXPECT_EQ(content_of(file), "a = 0x10\n");
}

TEST_F(Configuration, WritesEachSettingOnce) {
  auto const file = load("a = 1\n");
  parameter<unsigned int>("a").set(2);
  ASSERT_TRUE(config.save());
  folder.write("service.toml", "a = 3\n");
  EXPECT_TRUE(config.save());
  EXPECT_EQ(content_of(file), "a = 3\n");
}

TEST_F(Configuration, DoesNotSaveIntoAFileThatIsNoLongerToml) {
  auto const file = load("a = 1\n");
  parameter<unsigned int>("a").set(2);
  folder.write("service.toml", "a = 1\nb =\n");
  EXPECT_FALSE(config.save());
  EXPECT_TRUE(log.holds(error_level, file.string() + ": line 2"));
  EXPECT_EQ(content_of(file), "a = 1\nb =\n");
  EXPECT_EQ(parameter<unsigned int>("a").value(), 2U);
  folder.write("service.toml", "a = 1\nb = 1\n");
  EXPECT_TRUE(config.save());
  EXPECT_EQ(content_of(file), "a = 2\nb = 1\n");
}

TEST_F(Configuration, DoesNotSaveWithoutItsFile) {
  auto const file = load("a = 1\n");
  parameter<unsigned int>("a").set(2);
  fs::remove(file);
  EXPECT_FALSE(config.save());
  EXPECT_FALSE(fs::exists(file));
  EXPECT_TRUE(log.holds(error_level, file.string()));
}

TEST_F(Configuration, DoesNotSaveWhatCouldNotBeReadBack) {
  std::string const text = "t = 1\ns = 'x'\n";
  auto const file = load(text);
  auto time = parameter<seconds>("t");
  time.set(-1s);
  EXPECT_FALSE(config.save());
  EXPECT_TRUE(log.holds(error_level, "'t' would be negative"));
  time.set(1s);
  ASSERT_TRUE(config.save());
  log.clear();
  parameter<std::string>("s").set("\xff");
  EXPECT_FALSE(config.save());
  EXPECT_TRUE(log.holds(error_level, "'s' cannot be written"));
  EXPECT_EQ(content_of(file), text);
}

TEST_F(Configuration, SavesToItsFileAfterTheCurrentDirectoryChanged) {
  struct return_to {
    fs::path place;
    ~return_to() { fs::current_path(place); }
  } const original{fs::current_path()};
  folder.write("here/service.toml", "a = 1\n");
  fs::current_path(folder.path() / "here");
  ASSERT_TRUE(config.load("service.toml"));
  fs::current_path(folder.path());
  parameter<unsigned int>("a").set(2);
  EXPECT_TRUE(config.save());
  EXPECT_EQ(content_of(folder.path() / "here/service.toml"), "a = 2\n");
  EXPECT_FALSE(fs::exists(folder.path() / "service.toml"));
}

TEST_F(Configuration, KeepsALinkALink) {
  auto const file = folder.write("real/service.toml", "a = 1\n");
  auto const link = folder.path() / "service.toml";
  fs::create_symlink(file, link);
  ASSERT_TRUE(config.load(link));
  parameter<unsigned int>("a").set(2);
  EXPECT_TRUE(config.save());
  EXPECT_TRUE(fs::is_symlink(link));
  EXPECT_EQ(content_of(file), "a = 2\n");
}

TEST_F(Configuration, ServesThreadsThatReadSetAndSaveAtOnce) {
  auto const file = load("a = 0\nb = 0\ns = ''\n[limits]\na = { max = 1000 }\n");
  std::atomic<unsigned int> failures = 0;
  auto const work = [&](std::string const& key) {
    auto handle = parameter<unsigned int>(key);
    for (unsigned int round = 1; round <= 30; ++round) {
      handle.set(round);
      failures += handle.check(round) && config.save() && handle.value() == round ? 0U : 1U;
    }
  };
  std::thread first(work, "a");
  std::thread second(work, "b");
  for (int round = 0; round < 100; ++round) {
    failures += config.getParam<unsigned int>("a").has_value() ? 0U : 1U;
    failures += config.getParam<std::string>("s").has_value() ? 0U : 1U;
  }
  first.join();
  second.join();
  EXPECT_EQ(failures, 0U);
  EXPECT_EQ(content_of(file), "a = 30\nb = 30\ns = ''\n[limits]\na = { max = 1000 }\n");
}

}  // namespace
}  // namespace mura_common
