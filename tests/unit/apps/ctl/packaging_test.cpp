#include <regex>
#include <set>
#include <sstream>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "command_line/command_table.h"
#include "command_line/record_making.h"
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
  std::vector<std::string> command = {"/bin/bash", "--norc", "-c",
                                      script,      "bash",   CTL_PAGES "/stations_maintenance_ctl.bash"};
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
  std::string const name_of_program = CTL_PROGRAM;
  command.insert(command.begin(), name_of_program);
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
  return std::regex_replace(content_of(CTL_PAGES "/stations_maintenance_ctl.1"), std::regex(R"(\\-)"), "-");
}

/// The words of every command, and those of none.
std::vector<std::string> all_commands() {
  std::vector<std::string> commands = {""};
  for (auto const& command : tavi::ctl::command_table().commands) {
    commands.push_back(command.words());
  }
  return commands;
}

class PackagedCommand : public testing::TestWithParam<std::string> {};

TEST_P(PackagedCommand, HasItsOptionsCompletedAndInTheManual) {
  auto words = tavi::ctl::split_words(GetParam());
  auto expected = options_of(words);
  for (auto const& option : expected) {
    EXPECT_THAT(manual(), HasSubstr(option));
  }
  EXPECT_THAT(manual(), HasSubstr(GetParam()));
  expected.insert({"--json", "--verbose", "--runtime-dir", "--timeout", "--no-pager"});
  words.emplace_back("--");
  EXPECT_EQ(completions_of(words), expected);
}

INSTANTIATE_TEST_SUITE_P(Every, PackagedCommand, testing::ValuesIn(all_commands()), [](auto const& row) {
  return row.param.empty() ? "Program" : std::regex_replace(row.param, std::regex(" "), "_");
});

TEST(PackagedCommands, AreAllThatTheProgramHas) {
  EXPECT_THAT(
      all_commands(),
      testing::IsSupersetOf({"config get", "config set", "firmware list", "firmware show", "firmware add",
                             "firmware delete", "firmware available", "reports list", "reports generate",
                             "reports delete", "reports export", "reports folder", "watch"}));
}

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

/// Lets a shell read a script. @return what it complains of
std::string complaints_of(std::vector<std::string> const& shell) {
  ctl_process process(shell);
  auto complaints = process.read_errors();
  EXPECT_EQ(process.wait(), 0);
  return complaints;
}

TEST(Completion, IsUnderstoodByZsh) {
  ASSERT_TRUE(std::filesystem::exists("/bin/zsh"));
  EXPECT_EQ(complaints_of({"/bin/zsh", "-f", "-n", CTL_PAGES "/_stations_maintenance_ctl"}), "");
}

TEST(Completion, IsUnderstoodByFish) {
  if (!std::filesystem::exists("/usr/bin/fish")) {
    GTEST_SKIP() << "fish is not installed";
  }
  EXPECT_EQ(complaints_of({"/usr/bin/fish", "-n", CTL_PAGES "/stations_maintenance_ctl.fish"}), "");
}

}  // namespace
