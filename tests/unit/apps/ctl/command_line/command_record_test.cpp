#include "command_line/command_record.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "command_line/command_table.h"
#include "command_line/record_making.h"

namespace tavi::ctl {
namespace {

using ::testing::HasSubstr;

/// A command about one of two things, with an option of use with another one only.
command_record sample() {
  command_record command{"things", "ask", "Asks for things"};
  command.options = {{"--some", "ID", "Some"},
                     {"--more", "ID", "More"},
                     {"--all", "", "All"},
                     {"--wait", "", "Wait"},
                     {"--limit", "TIME", "Limit"}};
  command.options[2].excluded = {"--wait"};
  command.options[4].needed = {"--wait"};
  command.rules = {{{{"--some", "--more"}, {"--all"}}, "which ones", "--some, --more or --all"}};
  return command;
}

TEST(CommandRecord, FindsNoFaultInOneWayToSayIt) {
  EXPECT_EQ(find_fault(sample(), {"--some"}), "");
  EXPECT_EQ(find_fault(sample(), {"--some", "--more"}), "");
  EXPECT_EQ(find_fault(sample(), {"--all"}), "");
  EXPECT_EQ(find_fault(sample(), {"--some", "--wait", "--limit"}), "");
}

TEST(CommandRecord, SaysWhatToGiveWhenNoWayIsTaken) {
  EXPECT_EQ(find_fault(sample(), {}), "which ones: give --some, --more or --all");
  EXPECT_EQ(find_fault(sample(), {"--wait"}), "which ones: give --some, --more or --all");
}

TEST(CommandRecord, SaysWhatToGiveWhenTwoWaysAreTaken) {
  EXPECT_EQ(find_fault(sample(), {"--all", "--more"}), "too much at once: give --some, --more or --all");
}

TEST(CommandRecord, NamesTheOptionThatIsOfNoUseAlone) {
  EXPECT_EQ(find_fault(sample(), {"--some", "--limit"}), "--limit is of use with --wait only");
}

TEST(CommandRecord, NamesBothOptionsThatExcludeEachOther) {
  EXPECT_EQ(find_fault(sample(), {"--all", "--wait"}), "--all and --wait exclude each other");
}

/// Whether a command has an option of this name.
bool has_option(command_record const& command, std::string const& name) {
  return std::any_of(command.options.begin(), command.options.end(),
                     [&](auto const& option) { return option.name == name; });
}

TEST(CommandTable, NamesOnlyOptionsOfTheSameCommandInItsRules) {
  for (auto const& command : command_table().commands) {
    std::vector<std::string> named;
    for (auto const& option : command.options) {
      named.insert(named.end(), option.needed.begin(), option.needed.end());
      named.insert(named.end(), option.excluded.begin(), option.excluded.end());
    }
    for (auto const& rule : command.rules) {
      for (auto const& way : rule.ways) {
        named.insert(named.end(), way.begin(), way.end());
      }
    }
    for (auto const& name : named) {
      EXPECT_TRUE(has_option(command, name)) << command.words() << ' ' << name;
    }
  }
}

TEST(CommandTable, HasNoCommandWithoutSummaryExampleAndBeginning) {
  for (auto const& command : command_table().commands) {
    EXPECT_FALSE(command.summary.empty() || command.summary.ends_with('.')) << command.words();
    EXPECT_FALSE(command.examples.empty()) << command.words();
    invocation invoked;
    command.begin(invoked);
    for (auto const& option : command.options) {
      EXPECT_FALSE(option.description.empty()) << command.words() << ' ' << option.name;
      EXPECT_TRUE(!option.is_flag() || option.take(invoked, "")) << command.words() << ' ' << option.name;
    }
  }
}

TEST(CommandTable, OffersOnlyValuesThatAreTaken) {
  for (auto const& command : command_table().commands) {
    invocation invoked;
    command.begin(invoked);
    for (auto const& option : command.options) {
      for (auto const& value : option.offered) {
        EXPECT_TRUE(option.take(invoked, value)) << command.words() << ' ' << option.name << ' ' << value;
      }
    }
  }
}

}  // namespace
}  // namespace tavi::ctl
