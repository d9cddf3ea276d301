#include "command_line/command_line.h"

#include <ostream>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "command_line/command_table.h"
#include "command_line/record_making.h"

namespace tavi::ctl {
namespace {

using namespace std::chrono_literals;
using ::testing::HasSubstr;

using parse_result = std::variant<invocation, early_end>;

parse_result parse(std::vector<std::string> arguments) {
  std::string const name_of_program = "stations_maintenance_ctl";
  arguments.insert(arguments.begin(), name_of_program);
  std::vector<char const*> pointers;
  for (auto const& argument : arguments) {
    pointers.push_back(argument.c_str());
  }
  return parse_command_line(static_cast<int>(pointers.size()), pointers.data());
}

/// The options of a command line that is right.
template <typename Options>
Options options_of(std::vector<std::string> const& arguments) {
  auto const result = parse(arguments);
  if (auto const* const end = std::get_if<early_end>(&result)) {
    ADD_FAILURE() << end->text;
    return {};
  }
  return std::get<Options>(std::get<invocation>(result).command);
}

TEST(CommandLine, KnowsTheCommandsWithoutOptions) {
  options_of<config_get_options>({"config", "get"});
  options_of<firmware_list_options>({"firmware", "list"});
  options_of<reports_folder_options>({"reports", "folder"});
  options_of<watch_options>({"watch"});
}

TEST(CommandLine, TakesTheTimeOfTheServiceWhereTheCommandHasNoneOfItsOwn) {
  auto const time_of = [](std::vector<std::string> const& arguments) {
    return std::get<invocation>(parse(arguments)).time_out;
  };
  EXPECT_EQ(time_of({"reports", "list"}), std::nullopt);
  EXPECT_EQ(time_of({"reports", "list", "--timeout", "5"}), 5s);
  EXPECT_EQ(time_of({"--timeout", "2m", "reports", "list"}), 2min);
  EXPECT_EQ(time_of({"reports", "delete", "1", "--timeout", "5"}), std::nullopt);
  EXPECT_EQ(time_of({"--timeout", "7", "reports", "delete", "1", "--timeout", "5"}), 7s);
  EXPECT_FALSE(std::get<invocation>(parse({"watch"})).no_pager);
  EXPECT_TRUE(std::get<invocation>(parse({"watch", "--no-pager"})).no_pager);
}

TEST(CommandLine, TakesHowMuchAndHowAListShows) {
  auto const list = options_of<reports_list_options>({"reports", "list", "--limit", "3", "--time", "local"});
  EXPECT_EQ(list.limit, 3U);
  EXPECT_EQ(list.time, time_form::local);
  EXPECT_EQ(options_of<reports_list_options>({"reports", "list", "--time", "age"}).time, time_form::age);
  EXPECT_EQ(options_of<reports_list_options>({"reports", "list", "--time", "utc"}).time, time_form::utc);
  EXPECT_EQ(options_of<reports_list_options>({"reports", "list"}).time, std::nullopt);
  EXPECT_EQ(options_of<firmware_list_options>({"firmware", "list", "--limit", "1"}).limit, 1U);
  EXPECT_EQ(
      options_of<firmware_available_options>({"firmware", "available", "--station", "3", "--limit", "2"})
          .limit,
      2U);
}

TEST(CommandLine, TakesWhatIsWatched) {
  auto const watched = options_of<watch_options>({"watch", "--event", "functional_log", "--station", "3",
                                                  "--event", "station_status", "--station", "4"});
  EXPECT_EQ(watched.events, (std::vector<std::string>{"functional_log", "station_status"}));
  EXPECT_EQ(watched.stations, (std::vector<std::uint32_t>{3, 4}));
}

TEST(CommandLine, TakesCommonOptionsBeforeAndBehindTheCommand) {
  for (auto const& arguments : std::vector<std::vector<std::string>>{
           {"--json", "--verbose", "--runtime-dir", "/d", "reports", "list"},
           {"reports", "list", "--json", "--verbose", "--runtime-dir=/d"}}) {
    auto const result = parse(arguments);
    auto const& invoked = std::get<invocation>(result);
    EXPECT_TRUE(invoked.is_json);
    EXPECT_TRUE(invoked.is_verbose);
    EXPECT_EQ(invoked.runtime_folder, "/d");
  }
  auto const bare = std::get<invocation>(parse({"watch"}));
  EXPECT_FALSE(bare.is_json);
  EXPECT_FALSE(bare.is_verbose);
  EXPECT_EQ(bare.runtime_folder, "");
}

TEST(CommandLine, ReadsWhatIsToBeSet) {
  auto const all =
      options_of<config_set_options>({"config", "set", "--max-periodic", "5", "--period", "24h", "--enable"});
  EXPECT_EQ(all.max_periodic, 5U);
  EXPECT_EQ(all.period, 86400s);
  EXPECT_TRUE(all.enable);
  auto const off = options_of<config_set_options>({"config", "set", "--disable"});
  EXPECT_EQ(off.max_periodic, std::nullopt);
  EXPECT_EQ(off.period, std::nullopt);
  EXPECT_TRUE(off.disable);
}

TEST(CommandLine, ReadsAFirmware) {
  auto const full = options_of<firmware_add_options>({"firmware", "add", "fw.bin", "--model", "X7", "--model",
                                                      "X9-1", "--version", "2.1", "--address",
                                                      "localhost:8180", "--timeout", "2m"});
  EXPECT_EQ(full.file, "fw.bin");
  EXPECT_EQ(full.models, (std::vector<std::string>{"X7", "X9-1"}));
  EXPECT_EQ(full.version, "2.1");
  EXPECT_EQ(full.address, "localhost:8180");
  EXPECT_EQ(full.time_out, 120s);
  auto const least =
      options_of<firmware_add_options>({"firmware", "add", "--model", "X7", "fw.bin", "--no-version"});
  EXPECT_EQ(least.file, "fw.bin");
  EXPECT_EQ(least.version, std::nullopt);
  EXPECT_TRUE(least.no_version);
  EXPECT_FALSE(full.no_version);
  EXPECT_EQ(least.address, std::nullopt);
  EXPECT_EQ(least.time_out, 60s);
}

TEST(CommandLine, ReadsOtherFirmwareCommands) {
  EXPECT_EQ(options_of<firmware_show_options>({"firmware", "show", "7"}).id, 7U);
  EXPECT_EQ(options_of<firmware_available_options>({"firmware", "available", "--station", "3"}).station, 3U);
  auto const removal = options_of<firmware_delete_options>({"firmware", "delete", "7", "8", "--yes"});
  EXPECT_EQ(removal.ids, (std::vector<std::uint32_t>{7, 8}));
  EXPECT_TRUE(removal.yes);
  EXPECT_FALSE(options_of<firmware_delete_options>({"firmware", "delete", "7"}).yes);
}

TEST(CommandLine, ReadsConditionsAndOrder) {
  auto const options = options_of<reports_list_options>(
      {"reports", "list", "--station", "3", "--station", "4", "--type", "periodic", "--older-than", "7d",
       "--newer-than", "30d", "--larger-than", "10M", "--sort", "size", "--reverse"});
  report_choice const choice = {{3, 4}, diagnostic_report_type::periodic, 7 * 86400s, 30 * 86400s, 10485760};
  EXPECT_EQ(options.choice, choice);
  EXPECT_EQ(options.order, report_order::size);
  EXPECT_TRUE(options.reverse);
  auto const bare = options_of<reports_list_options>({"reports", "list"});
  EXPECT_TRUE(bare.choice.is_empty());
  EXPECT_EQ(bare.order, report_order::id);
  EXPECT_FALSE(bare.reverse);
}

TEST(CommandLine, ReadsWhomToAskForReports) {
  auto const one = options_of<reports_generate_options>({"reports", "generate", "--station", "3"});
  EXPECT_EQ(one.stations, std::vector<std::uint32_t>{3});
  EXPECT_FALSE(one.all);
  EXPECT_EQ(one.type, diagnostic_report_type::manual);
  EXPECT_FALSE(one.wait);
  EXPECT_EQ(one.time_out, 300s);
  auto const all = options_of<reports_generate_options>(
      {"reports", "generate", "--all", "--wait", "--type", "periodic", "--timeout", "1h"});
  EXPECT_TRUE(all.stations.empty());
  EXPECT_TRUE(all.all);
  EXPECT_EQ(all.type, diagnostic_report_type::periodic);
  EXPECT_TRUE(all.wait);
  EXPECT_EQ(all.time_out, 3600s);
}

TEST(CommandLine, ReadsWhichReportsAreDeleted) {
  auto const by_ids = options_of<reports_delete_options>({"reports", "delete", "12", "15", "--yes"});
  EXPECT_EQ(by_ids.target.ids, (std::vector<std::uint32_t>{12, 15}));
  EXPECT_TRUE(by_ids.yes);
  auto const by_age = options_of<reports_delete_options>({"reports", "delete", "--older-than", "90d"});
  EXPECT_EQ(by_age.target.choice.older, 90 * 86400s);
  EXPECT_FALSE(by_age.target.all);
  EXPECT_FALSE(by_age.yes);
  EXPECT_TRUE(options_of<reports_delete_options>({"reports", "delete", "--all"}).target.all);
}

TEST(CommandLine, ReadsWhatIsExportedWhere) {
  auto const by_ids = options_of<reports_export_options>({"reports", "export", "out.zip", "12", "15"});
  EXPECT_EQ(by_ids.destination, "out.zip");
  EXPECT_EQ(by_ids.target.ids, (std::vector<std::uint32_t>{12, 15}));
  EXPECT_FALSE(by_ids.append);
  EXPECT_EQ(by_ids.time_out, 600s);
  auto const by_type =
      options_of<reports_export_options>({"reports", "export", "/a/out.zip", "--type", "manual", "--append"});
  EXPECT_EQ(by_type.target.choice.type, diagnostic_report_type::manual);
  EXPECT_TRUE(by_type.append);
}

TEST(CommandLine, ReadsWhichReportIsShownOrCopiedWhere) {
  EXPECT_EQ(options_of<reports_show_options>({"reports", "show", "12"}).id, 12U);
  auto const bare = options_of<reports_get_options>({"reports", "get", "12"});
  EXPECT_EQ(bare.id, 12U);
  EXPECT_EQ(bare.file, std::nullopt);
  EXPECT_FALSE(bare.force);
  auto const full = options_of<reports_get_options>({"reports", "get", "12", "/a/b", "--force"});
  EXPECT_EQ(full.file, "/a/b");
  EXPECT_TRUE(full.force);
}

/// A command line that is wrong, and what the line about it names.
struct refusal_case {
  char const* name;
  std::vector<std::string> arguments;
  std::string told;
};

void PrintTo(refusal_case const& row, std::ostream* out) {
  *out << row.name;
}

class WrongCommandLine : public testing::TestWithParam<refusal_case> {};

TEST_P(WrongCommandLine, IsRefusedWithALineThatNamesWhatIsWrong) {
  auto const result = parse(GetParam().arguments);
  ASSERT_TRUE(std::holds_alternative<early_end>(result));
  auto const& end = std::get<early_end>(result);
  EXPECT_EQ(end.code, 2);
  EXPECT_THAT(end.text, HasSubstr("stations_maintenance_ctl: "));
  EXPECT_THAT(end.text, HasSubstr(GetParam().told));
  EXPECT_EQ(end.text.find('\n'), end.text.size() - 1) << end.text;
}

INSTANTIATE_TEST_SUITE_P(
    EveryKind, WrongCommandLine,
    testing::Values(
        refusal_case{"NoCommand", {}, "subcommand"}, refusal_case{"UnknownCommand", {"reboot"}, "reboot"},
        refusal_case{"GroupAlone", {"reports"}, "subcommand"},
        refusal_case{"UnknownInGroup", {"reports", "print"}, "print"},
        refusal_case{"UnknownOption", {"reports", "list", "--fast"}, "--fast"},
        refusal_case{"OptionOfAnother", {"reports", "list", "--wait"}, "--wait"},
        refusal_case{"SurplusArgument", {"reports", "list", "5"}, "5"},
        refusal_case{"SurplusArgumentOfFirmware", {"firmware", "list", "5"}, "5"},
        refusal_case{
            "EmptyFolderOfSockets", {"--runtime-dir", "", "watch"}, "\"\" is not the name of a folder"},
        refusal_case{"SurplusWordBeforeNothingToSet", {"config", "set", "period"}, "period"},
        refusal_case{"UnknownOptionBeforeNothingToSet", {"config", "set", "--fast"}, "--fast"},
        refusal_case{"UnknownOptionBeforeNobodyToAsk", {"reports", "generate", "--fast"}, "--fast"},
        refusal_case{
            "UnknownOptionBeforeNothingToExport", {"reports", "export", "o.zip", "--fast"}, "--fast"},
        refusal_case{"SurplusWordBesideAMissingOption", {"firmware", "available", "3"}, "\"3\""},
        refusal_case{"MistypedGroup", {"reprots"}, "did you mean \"reports\"?"},
        refusal_case{"MistypedCommand", {"reports", "lsit"}, "did you mean \"list\"?"},
        refusal_case{
            "MistypedOption", {"reports", "list", "--older-then", "7d"}, "did you mean \"--older-than\"?"},
        refusal_case{
            "MistypedOptionWithItsValue", {"reports", "list", "--sotr=size"}, "did you mean \"--sort\"?"},
        refusal_case{"MistypedCommonOption", {"config", "get", "--jsn"}, "did you mean \"--json\"?"},
        refusal_case{"TimeOutWithoutWaiting",
                     {"reports", "generate", "--all", "--timeout", "5m"},
                     "--timeout is of use with --wait only"},
        refusal_case{"NothingToSet", {"config", "set"}, "--max-periodic, --period, --enable or --disable"},
        refusal_case{"NothingToSetButJson", {"config", "set", "--json"}, "--period"},
        refusal_case{"DisableAndPeriod", {"config", "set", "--disable", "--period", "5"}, "--period"},
        refusal_case{
            "DisableAndMaximum", {"config", "set", "--disable", "--max-periodic", "5"}, "--max-periodic"},
        refusal_case{"DisableAndEnable", {"config", "set", "--disable", "--enable"}, "--enable"},
        refusal_case{"MaximumBelowZero", {"config", "set", "--max-periodic", "-1"}, "\"-1\" is not a number"},
        refusal_case{"MaximumTooLarge", {"config", "set", "--max-periodic", "4294967296"}, "4294967296"},
        refusal_case{
            "PeriodWithoutUnit", {"config", "set", "--period", "1h30"}, "\"1h30\" is not a duration"},
        refusal_case{"PeriodOfAges", {"config", "set", "--period", "9999999999"}, "9999999999"},
        refusal_case{"PeriodTwice", {"config", "set", "--period", "1", "--period", "2"}, "--period"},
        refusal_case{"NoFile", {"firmware", "add", "--model", "X"}, "FILE"},
        refusal_case{"NoModel", {"firmware", "add", "fw.bin"}, "--model"},
        refusal_case{"EmptyModel", {"firmware", "add", "fw.bin", "--model", ""}, "--model"},
        refusal_case{
            "EmptyVersion", {"firmware", "add", "fw.bin", "--model", "X", "--version", ""}, "--version"},
        refusal_case{"AddressWithPath",
                     {"firmware", "add", "f", "--model", "X", "--address", "h/x"},
                     "\"h/x\" is not"},
        refusal_case{"NoVersion", {"firmware", "add", "f", "--model", "X"}, "uploaded firmware is discarded"},
        refusal_case{"VersionAndNone",
                     {"firmware", "add", "f", "--model", "X", "--version", "1", "--no-version"},
                     "too much at once: give --version, or --no-version"},
        refusal_case{"NoReportToShow", {"reports", "show"}, "ID"},
        refusal_case{"NoReportToGet", {"reports", "get", "--force"}, "ID"},
        refusal_case{"NoTime", {"firmware", "add", "f", "--model", "X", "--timeout", "0"}, "--timeout"},
        refusal_case{"TwoFiles", {"firmware", "add", "a", "b", "--model", "X"}, "b"},
        refusal_case{"NoId", {"firmware", "show"}, "ID"},
        refusal_case{"IdIsText", {"firmware", "show", "x"}, "\"x\""},
        refusal_case{"IdTooLarge", {"firmware", "delete", "2147483648"}, "2147483648"},
        refusal_case{"NoStation", {"firmware", "available"}, "--station"},
        refusal_case{"UnknownType", {"reports", "list", "--type", "weekly"}, "periodic or manual"},
        refusal_case{"NoReportAtAll", {"reports", "list", "--limit", "0"}, "\"0\" is not a number from 1"},
        refusal_case{"UnknownFormOfTime", {"reports", "list", "--time", "noon"}, "age, local or utc"},
        refusal_case{
            "UnknownEvent", {"watch", "--event", "thunder"}, "\"thunder\" is not the name of an event"},
        refusal_case{"NoTimeForTheService", {"watch", "--timeout", "0"}, "a duration above 0"},
        refusal_case{"UnknownOrder", {"reports", "list", "--sort", "colour"}, "id, station, name"},
        refusal_case{"BadSize", {"reports", "list", "--larger-than", "5MB"}, "\"5MB\" is not a size"},
        refusal_case{"ControlCharacters", {"reports", "list", "--type", "\x1b[2J"}, "\\x1b[2J"},
        refusal_case{"NobodyToAsk", {"reports", "generate"}, "--station or --all"},
        refusal_case{
            "StationAndAll", {"reports", "generate", "--all", "--station", "3"}, "--station or --all"},
        refusal_case{"NothingToDelete", {"reports", "delete"}, "give ids"},
        refusal_case{"NothingToDeleteButYes", {"reports", "delete", "--yes"}, "give ids"},
        refusal_case{
            "IdsAndConditions", {"reports", "delete", "5", "--older-than", "5d"}, "too much at once"},
        refusal_case{"IdsAndAll", {"reports", "delete", "5", "--all"}, "too much at once"},
        refusal_case{
            "ConditionsAndAll", {"reports", "delete", "--station", "5", "--all"}, "too much at once"},
        refusal_case{"NoDestination", {"reports", "export", "--all"}, "DESTINATION"},
        refusal_case{"NoArchive", {"reports", "export", "out.tar", "--all"}, ".zip"},
        refusal_case{"OnlyAnEnding", {"reports", "export", "dir/.zip", "--all"}, ".zip"},
        refusal_case{"ArchiveIsNoUtf8", {"reports", "export", "\xff.zip", "--all"}, "UTF-8"},
        refusal_case{"NothingToExport", {"reports", "export", "out.zip"}, "give ids"}),
    [](auto const& row) { return std::string(row.param.name); });

std::string help_of(std::vector<std::string> arguments) {
  arguments.emplace_back("--help");
  auto const result = parse(arguments);
  auto const* const end = std::get_if<early_end>(&result);
  EXPECT_TRUE(end != nullptr && end->code == 0);
  return end == nullptr ? "" : end->text;
}

TEST(Help, OfTheProgramNamesExitCodesEnvironmentAndExamples) {
  auto const text = help_of({});
  for (auto const* const part : {"config", "firmware", "reports", "watch", "Exit codes:",
                                 "  130  ended by Ctrl-C", "TAVI_RUNTIME_DIR", "NO_COLOR", "Examples:"}) {
    EXPECT_THAT(text, HasSubstr(part));
  }
}

TEST(UnknownWord, IsToldWithoutASuggestionWhenNothingIsNear) {
  for (auto const& arguments : std::vector<std::vector<std::string>>{
           {"reboot"}, {"reports", "list", "--colour"}, {"firmware", "show", "7", "7x"}}) {
    EXPECT_EQ(std::get<early_end>(parse(arguments)).text.find("did you mean"), std::string::npos);
  }
}

TEST(Help, OfEveryCommandHasAnExampleOfItself) {
  for (auto const& command : command_table().commands) {
    EXPECT_THAT(help_of(split_words(command.words())),
                HasSubstr("  stations_maintenance_ctl " + command.words()));
  }
}

TEST(Help, GivesExamplesThatAreUnderstood) {
  std::vector<std::vector<std::string>> commands = {{}};
  for (auto const& command : command_table().commands) {
    commands.push_back(split_words(command.words()));
  }
  for (auto const& command : commands) {
    std::istringstream lines(help_of(command));
    std::size_t examples = 0;
    for (std::string line; std::getline(lines, line);) {
      // What other programs make of the result is theirs.
      std::istringstream words(line.substr(0, line.find(" | ")));
      std::vector<std::string> arguments;
      for (std::string word; words >> word;) {
        arguments.push_back(word);
      }
      if (line.starts_with("  stations_maintenance_ctl ")) {
        arguments.erase(arguments.begin());
        EXPECT_TRUE(std::holds_alternative<invocation>(parse(arguments))) << line;
        ++examples;
      }
    }
    EXPECT_GT(examples, 0U);
  }
}

TEST(Version, IsTold) {
  auto const result = parse({"--version"});
  EXPECT_EQ(std::get<early_end>(result).code, 0);
  EXPECT_THAT(std::get<early_end>(result).text, ::testing::StartsWith("stations_maintenance_ctl 0."));
}

}  // namespace
}  // namespace tavi::ctl
