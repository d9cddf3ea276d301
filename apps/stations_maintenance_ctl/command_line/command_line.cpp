#include "command_line/command_line.h"

#include <CLI/CLI.hpp>

#include "command_line/command_table.h"
#include "command_line/help_text.h"
#include "mura_common/text.h"
#include "program_name.h"
#include "text/plain_text.h"

namespace tavi::ctl {

namespace {

/// The command that is being named, as far as the command line has come.
CLI::App const& innermost(CLI::App const& app) {
  auto const chosen = app.get_subcommands();
  return chosen.empty() ? app : innermost(*chosen.front());
}

void append_option_names(CLI::App const& command, std::vector<std::string>& names) {
  for (auto const* const option : command.get_options()) {
    for (auto const& name : option->get_lnames()) {
      names.push_back("--" + name);
    }
  }
}

/// What may stand where a word stands that nobody knows.
std::vector<std::string> known_words(CLI::App const& app, std::string const& unknown) {
  auto const& command = innermost(app);
  std::vector<std::string> known;
  if (unknown.starts_with('-')) {
    append_option_names(command, known);
    append_option_names(app, known);
    return known;
  }
  for (auto const* const next : command.get_subcommands([](CLI::App const*) { return true; })) {
    known.push_back(next->get_name());
  }
  return known;
}

/// A line about the first word that nobody knows. @return empty when all are known
std::string explain_unknown(CLI::App const& app) {
  auto const unknown = app.remaining(true);
  if (unknown.empty()) {
    return {};
  }
  auto const& word = unknown.front();
  return mura_common::explain_unknown_word(word, known_words(app, word));
}

/// Builds the commands, each of which makes itself the one to be carried out when it is named.
class command_builder {
 public:
  command_builder(CLI::App& program, invocation& result) : app(program), parsed(result) {}

  void add_all(program_record const& program) {
    for (auto const& option : program.options) {
      add_option(app, option);
    }
    for (auto const& group : program.groups) {
      auto* const added = app.add_subcommand(group.name, group.summary)->require_subcommand(1);
      add_commands(*added, commands_of(program, group.name));
    }
    add_commands(app, commands_of(program, ""));
  }

 private:
  void add_commands(CLI::App& parent, std::vector<command_record const*> const& commands) {
    for (auto const* const command : commands) {
      add_command(parent, *command);
    }
  }

  void add_command(CLI::App& parent, command_record const& record) {
    auto* const command = parent.add_subcommand(record.name, record.summary);
    command->footer(help_footer(record));
    // Begun when its name is met, and so before its options are.
    command->preparse_callback([this, &record](std::size_t) { record.begin(parsed); });
    for (auto const& option : record.options) {
      add_option(*command, option);
    }
    command->parse_complete_callback([this, command, &record] { check(*command, record); });
  }

  void add_option(CLI::App& command, option_record const& record) {
    if (record.is_flag()) {
      command.add_flag_callback(
          record.name, [this, &record] { record.take(parsed, ""); }, record.description);
      return;
    }
    auto const understand = [this, &record](std::vector<std::string> const& texts) {
      for (auto const& text : texts) {
        if (!record.take(parsed, text)) {
          throw CLI::ValidationError(record.name, '"' + text + "\" is not " + record.expected);
        }
      }
    };
    auto* const option =
        command.add_option_function<std::vector<std::string>>(record.name, understand, record.description);
    option->type_name(record.is_positional() ? "" : record.value)->required(record.is_required);
    if (record.is_positional() && record.is_repeated) {
      option->expected(record.is_required ? 1 : 0, -1);
      return;
    }
    option->expected(1)->allow_extra_args(false);
    if (record.is_repeated) {
      option->multi_option_policy(CLI::MultiOptionPolicy::TakeAll);
    }
  }

  /// Refuses a word that nobody knows, before anything else is found to be wrong because of it.
  void check(CLI::App const& command, command_record const& record) const {
    if (auto const fault = explain_unknown(app); !fault.empty()) {
      throw CLI::ValidationError(fault);
    }
    std::set<std::string> given;
    for (auto const& option : record.options) {
      if (!command.get_option(option.name)->empty()) {
        given.insert(option.name);
      }
    }
    if (auto const fault = find_fault(record, given); !fault.empty()) {
      throw CLI::ValidationError(fault);
    }
  }

  CLI::App& app;
  invocation& parsed;
};

early_end make_refusal(std::string const& fault) {
  return {2, std::string(program_name) + ": " + escape_text(fault) + " (see --help)\n"};
}

}  // namespace

std::variant<invocation, early_end> parse_command_line(int argc, char const* const* argv) {
  auto const& program = command_table();
  invocation parsed;
  CLI::App app(program.summary + '.', program_name);
  app.footer(help_footer(program));
  app.fallthrough();
  app.require_subcommand(1);
  app.set_help_flag("-h," + program.help_option.name, program.help_option.description);
  app.set_version_flag(program.version_option.name,
                       std::string(program_name) + " " + STATIONS_MAINTENANCE_VERSION,
                       program.version_option.description);
  // Lives as long as the parsing, which calls back to it.
  command_builder commands(app, parsed);
  commands.add_all(program);
  try {
    app.parse(argc, argv);
  } catch (CLI::CallForHelp const&) {
    return early_end{0, app.help()};
  } catch (CLI::CallForVersion const& version) {
    return early_end{0, std::string(version.what()) + '\n'};
  } catch (CLI::ValidationError const& error) {
    return make_refusal(error.what());
  } catch (CLI::ParseError const& error) {
    auto const unknown = explain_unknown(app);
    return make_refusal(unknown.empty() ? error.what() : unknown);
  }
  return parsed;
}

}  // namespace tavi::ctl
