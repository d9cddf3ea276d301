#include <ostream>
#include <regex>
#include <set>
#include <sstream>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "ctl_process.h"
#include "temporary_folder.h"

namespace {

using ::testing::Contains;
using ::testing::HasSubstr;
using ::testing::UnorderedElementsAre;

/// What bash offers behind these words, the last of which may be the beginning of one.
std::set<std::string> completions_of(std::vector<std::string> const& words) {
  std::string const script =
      "source \"$1\"; shift; COMP_WORDS=(stations_maintenance_ctl \"$@\"); COMP_CWORD=$#; "
      "_stations_maintenance_ctl; "
      "printf '%s\\n' \"${COMPREPLY[@]}\"";
  std::vector<std::string> command = {"/bin/bash", "--norc", "-c", script, "bash", CTL_COMPLETION};
  command.insert(command.end(), words.begin(), words.end());
  ctl_process bash(command);
  std::istringstream lines(bash.read_output());
  std::set<std::string> offered;
  for (std::string line; std::getline(lines, line);) {
    offered.insert(line);
  }
  EXPECT_EQ(bash.read_errors(), "");
  EXPECT_EQ(bash.wait(), 0);
  offered.erase("");
  return offered;
}

/// The options that --help of a command names.
std::set<std::string> options_of(std::vector<std::string> command) {
  command.insert(command.begin(), CTL_PROGRAM);
  command.emplace_back("--help");
  ctl_process program(command);
  std::istringstream lines(program.read_output());
  std::regex const option("^  (?:-h,)?(--[a-z-]+)");
  std::set<std::string> options;
  for (std::string line; std::getline(lines, line);) {
    if (std::smatch found; std::regex_search(line, found, option)) {
      options.insert(found[1]);
    }
  }
  EXPECT_EQ(program.wait(), 0);
  return options;
}

/// The manual page without its escapes.
std::string manual() {
  return std::regex_replace(content_of(CTL_MANUAL), std::regex(R"(\\-)"), "-");
}

struct command_case {
  char const* name;
  std::vector<std::string> words;
};

void PrintTo(command_case const& row, std::ostream* out) {
  *out << row.name;
}

class PackagedCommand : public testing::TestWithParam<command_case> {};

TEST_P(PackagedCommand, HasItsOptionsCompletedAndInTheManual) {
  auto expected = options_of(GetParam().words);
  for (auto const& option : expected) {
    EXPECT_THAT(manual(), HasSubstr(option));
  }
  expected.insert({"--json", "--verbose", "--runtime-dir"});
  auto words = GetParam().words;
  words.emplace_back("--");
  EXPECT_EQ(completions_of(words), expected);
}

INSTANTIATE_TEST_SUITE_P(Every, PackagedCommand,
                         testing::Values(command_case{"Program", {}},
                                         command_case{"ConfigGet", {"config", "get"}},
                                         command_case{"ConfigSet", {"config", "set"}},
                                         command_case{"FirmwareList", {"firmware", "list"}},
                                         command_case{"FirmwareShow", {"firmware", "show"}},
                                         command_case{"FirmwareAdd", {"firmware", "add"}},
                                         command_case{"FirmwareDelete", {"firmware", "delete"}},
                                         command_case{"FirmwareAvailable", {"firmware", "available"}},
                                         command_case{"ReportsList", {"reports", "list"}},
                                         command_case{"ReportsGenerate", {"reports", "generate"}},
                                         command_case{"ReportsDelete", {"reports", "delete"}},
                                         command_case{"ReportsExport", {"reports", "export"}},
                                         command_case{"ReportsFolder", {"reports", "folder"}},
                                         command_case{"Watch", {"watch"}}),
                         [](auto const& row) { return std::string(row.param.name); });

TEST(Completion, OffersCommands) {
  EXPECT_THAT(completions_of({""}), testing::IsSupersetOf({"config", "firmware", "reports", "watch"}));
  EXPECT_THAT(completions_of({"re"}), UnorderedElementsAre("reports"));
  EXPECT_THAT(completions_of({"firmware", "a"}), UnorderedElementsAre("add", "available"));
  EXPECT_THAT(completions_of({"--json", "--runtime-dir", "/run", "config", "g"}),
              UnorderedElementsAre("get"));
}

TEST(Completion, OffersValues) {
  EXPECT_THAT(completions_of({"reports", "list", "--type", ""}), UnorderedElementsAre("manual", "periodic"));
  EXPECT_THAT(completions_of({"reports", "list", "--sort", "si"}), UnorderedElementsAre("size"));
  EXPECT_TRUE(completions_of({"reports", "list", "--station", ""}).empty());
}

TEST(Completion, OffersValuesBehindAnEqualsSign) {
  EXPECT_THAT(completions_of({"reports", "list", "--type", "="}), UnorderedElementsAre("manual", "periodic"));
  EXPECT_THAT(completions_of({"reports", "list", "--sort", "=", "si"}), UnorderedElementsAre("size"));
  EXPECT_THAT(completions_of({"--runtime-dir", "=", "/run", "config", "g"}), UnorderedElementsAre("get"));
  EXPECT_THAT(completions_of({"reports", "--json", "li"}), UnorderedElementsAre("list"));
}

TEST(Completion, OffersFilesToUpload) {
  temporary_folder folder;
  auto const file = folder.write("my firmware.bin", "x");
  EXPECT_THAT(completions_of({"firmware", "add", (folder.path() / "my").string()}), Contains(file.string()));
}

TEST(Manual, NamesEveryCommandAndExitCode) {
  auto const text = manual();
  for (auto const* const part : {".SS config get",
                                 "config set",
                                 ".SS firmware list",
                                 "firmware show",
                                 "firmware add",
                                 "firmware delete",
                                 "firmware available",
                                 "reports list",
                                 "reports generate",
                                 "reports delete",
                                 "reports export",
                                 ".SS reports folder",
                                 ".SS watch",
                                 ".B 0",
                                 ".B 1",
                                 ".B 2",
                                 ".B 3",
                                 ".B 4",
                                 ".B 130",
                                 "143",
                                 "NO_COLOR"}) {
    EXPECT_THAT(text, HasSubstr(part));
  }
}

}  // namespace
