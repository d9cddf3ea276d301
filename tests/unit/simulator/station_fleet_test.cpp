#include "station_fleet.h"

#include <algorithm>
#include <string>
#include <vector>

#include "simulator_command_line.h"
#include "station_fixture.h"

namespace {

using namespace tavi::simulator;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;

TEST(CountIdentities, CountsOnFromTheNumberAtTheEnd) {
  EXPECT_THAT(count_identities("CS-001", 3), ElementsAre("CS-001", "CS-002", "CS-003"));
  EXPECT_THAT(count_identities("CS-009", 2), ElementsAre("CS-009", "CS-010"));
  EXPECT_THAT(count_identities("CS-99", 2), ElementsAre("CS-99", "CS-100"));
  EXPECT_THAT(count_identities("7", 2), ElementsAre("7", "8"));
  EXPECT_THAT(count_identities("A1B2", 2), ElementsAre("A1B2", "A1B3"));
  EXPECT_THAT(count_identities("X999999999", 2), ElementsAre("X999999999", "X1000000000"));
}

TEST(CountIdentities, TakesASingleOneAsItIs) {
  EXPECT_THAT(count_identities("station", 1), ElementsAre("station"));
}

TEST(CountIdentities, RefusesWhatItCannotCountOn) {
  EXPECT_THAT(count_identities("station", 2), IsEmpty());
  EXPECT_THAT(count_identities("X1234567890", 2), IsEmpty());
  EXPECT_THAT(count_identities("", 2), IsEmpty());
}

class StationFleet : public station_fixture {};

TEST_F(StationFleet, RunsEveryStationWithAFolderOfItsOwn) {
  options.work_folder = folder.path();
  station_fleet fleet(loop, options, {"CS-001", "CS-002", "CS-003"});
  ASSERT_TRUE(fleet.start());
  ASSERT_TRUE(run_until_traced("StatusNotification", 6));
  for (auto const* name : {"CS-001", "CS-002", "CS-003"}) {
    EXPECT_TRUE(std::filesystem::exists(folder.path() / name / "station.log"));
    EXPECT_TRUE(log.holds(spdlog::level::info, std::string(name) + " booted"));
  }
  fleet.stop();
  EXPECT_TRUE(run_until_traced("closed", 3));
}

TEST_F(StationFleet, StopsAllWhenOneCannotStart) {
  options.work_folder = folder.path();
  folder.write("CS-002", "a file where a folder should be");
  station_fleet fleet(loop, options, {"CS-001", "CS-002"});
  EXPECT_FALSE(fleet.start());
}

class SimulatorCommandLine : public ::testing::Test {
 protected:
  static std::variant<simulator_settings, simulator_exit> parse(std::vector<std::string> arguments) {
    std::vector<char const*> vector = {"charging_station_simulator"};
    for (auto const& argument : arguments) {
      vector.push_back(argument.c_str());
    }
    return parse_simulator_command_line(static_cast<int>(vector.size()), vector.data());
  }
};

TEST_F(SimulatorCommandLine, ReadsEveryOption) {
  auto const parsed = parse({"--url", "ws://127.0.0.1:8080/ocpp", "--identity", "CS-001", "--vendor", "V",
                             "--model", "M", "--firmware-version", "F", "--work-dir", "w", "--count", "2"});
  auto const* settings = std::get_if<simulator_settings>(&parsed);
  ASSERT_NE(settings, nullptr);
  EXPECT_EQ(settings->station.url, "ws://127.0.0.1:8080/ocpp");
  EXPECT_EQ(settings->station.vendor, "V");
  EXPECT_EQ(settings->station.model, "M");
  EXPECT_EQ(settings->station.firmware_version, "F");
  EXPECT_EQ(settings->station.work_folder, "w");
  EXPECT_THAT(settings->identities, ElementsAre("CS-001", "CS-002"));
  EXPECT_EQ(settings->station.break_download_after, std::nullopt);
  EXPECT_FALSE(settings->station.is_refusing_installation);
}

TEST_F(SimulatorCommandLine, ReadsHowAStationIsToMisbehave) {
  auto const parsed = parse({"--url", "ws://a/o", "--identity", "CS-1", "--work-dir", "w",
                             "--break-download-after", "4096", "--refuse-install"});
  auto const* settings = std::get_if<simulator_settings>(&parsed);
  ASSERT_NE(settings, nullptr);
  EXPECT_EQ(settings->station.break_download_after, 4096U);
  EXPECT_TRUE(settings->station.is_refusing_installation);
}

TEST_F(SimulatorCommandLine, ShowsHelpWithAnExample) {
  auto const parsed = parse({"--help"});
  auto const* end = std::get_if<simulator_exit>(&parsed);
  ASSERT_NE(end, nullptr);
  EXPECT_EQ(end->code, 0);
  EXPECT_THAT(end->text, HasSubstr("--url ws://127.0.0.1:8080/ocpp --identity CS-001"));
  EXPECT_THAT(end->text, HasSubstr("the last one like\n2.1.0 or v2.1.0"));
}

TEST_F(SimulatorCommandLine, ShowsItsVersion) {
  auto const parsed = parse({"--version"});
  auto const* end = std::get_if<simulator_exit>(&parsed);
  ASSERT_NE(end, nullptr);
  EXPECT_EQ(end->code, 0);
  EXPECT_THAT(end->text, ::testing::MatchesRegex("charging_station_simulator [0-9]+\\.[0-9]+\\.[0-9]+"));
}

struct refusal_row {
  char const* name;
  std::vector<std::string> change;  ///< appended to, or put in place of, good arguments
  std::string expected;
};

TEST_F(SimulatorCommandLine, RefusesBadArgumentsWithOneLine) {
  std::vector<refusal_row> const rows = {
      {"no url", {"--identity", "CS-1", "--work-dir", "w"}, "--url"},
      {"no identity", {"--url", "ws://a/o", "--work-dir", "w"}, "--identity"},
      {"no work folder", {"--url", "ws://a/o", "--identity", "CS-1"}, "--work-dir"},
      {"url of another scheme",
       {"--url", "http://a/o", "--identity", "CS-1", "--work-dir", "w"},
       "ws://host"},
      {"bad identity", {"--url", "ws://a/o", "--identity", "C/1", "--work-dir", "w"}, "--identity \"C/1\""},
      {"count 0", {"--url", "ws://a/o", "--identity", "C1", "--work-dir", "w", "--count", "0"}, "--count"},
      {"count too large",
       {"--url", "ws://a/o", "--identity", "C1", "--work-dir", "w", "--count", "1001"},
       "--count"},
      {"no number",
       {"--url", "ws://a/o", "--identity", "C", "--work-dir", "w", "--count", "2"},
       "number to count"},
      {"long vendor",
       {"--url", "ws://a/o", "--identity", "C", "--work-dir", "w", "--vendor", std::string(21, 'v')},
       "--vendor"},
      {"empty model", {"--url", "ws://a/o", "--identity", "C", "--work-dir", "w", "--model", ""}, "--model"},
      {"bytes below zero",
       {"--url", "ws://a/o", "--identity", "C", "--work-dir", "w", "--break-download-after", "-1"},
       "--break-download-after"},
      {"bytes that are none",
       {"--url", "ws://a/o", "--identity", "C", "--work-dir", "w", "--break-download-after", "some"},
       "--break-download-after"},
      {"unknown option",
       {"--url", "ws://a/o", "--identity", "C", "--work-dir", "w", "--fast"},
       "\"--fast\" is not known here (see"},
      {"mistyped option",
       {"--url", "ws://a/o", "--identiy", "C", "--work-dir", "w"},
       "did you mean \"--identity\"?"},
      {"mistyped option with its value",
       {"--url", "ws://a/o", "--identity", "C", "--work-dir", "w", "--cuont=2"},
       "\"--cuont=2\" is not known here: did you mean \"--count\"?"},
      {"grown too long",
       {"--url", "ws://a/o", "--identity", std::string(47, 'c') + "9", "--work-dir", "w", "--count", "2"},
       "grows past 48"},
  };
  for (auto const& row : rows) {
    SCOPED_TRACE(row.name);
    auto const parsed = parse(row.change);
    auto const* end = std::get_if<simulator_exit>(&parsed);
    ASSERT_NE(end, nullptr);
    EXPECT_EQ(end->code, 2);
    EXPECT_THAT(end->text, HasSubstr(row.expected));
    EXPECT_EQ(std::ranges::count(end->text, '\n'), 0) << end->text;
  }
}

}  // namespace
