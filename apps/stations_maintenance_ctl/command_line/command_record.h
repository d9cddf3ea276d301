#pragma once

#include <functional>
#include <set>
#include <string>
#include <vector>

#include "command_line/invocation.h"

namespace tavi::ctl {

/// Paths that a shell offers where a value is to be given.
enum class offered_paths { none, files, folders };

/// An option of a command, or what is given by its place: "--period", "ID".
struct option_record {
  std::string name;                           ///< with its dashes; none for what is given by its place
  std::string value;                          ///< name of its value; empty for a flag
  std::string description;                    ///< one line
  std::string expected = {};                  ///< what the value has to be: "a duration like 24h"
  std::vector<std::string> offered = {};      ///< values that a shell offers
  offered_paths paths = offered_paths::none;  ///< as is a path
  bool is_required = false;                   ///< must be given
  bool is_repeated = false;                   ///< may be given more than once
  std::vector<std::string> needed = {};       ///< of no use unless one of these is given
  std::vector<std::string> excluded = {};     ///< none of these may stand beside it
  std::function<bool(invocation&, std::string const&)> take = {};  ///< false when the text is no such value

  /// Whether it is given by its place instead of by its name.
  [[nodiscard]] bool is_positional() const { return !name.starts_with('-'); }
  /// Whether it stands alone, without a value.
  [[nodiscard]] bool is_flag() const { return value.empty(); }
};

/// Several ways to say what a command is about, exactly one of which must be taken.
struct choice_rule {
  std::vector<std::vector<std::string>> ways;  ///< names of options; a way is taken when one of them is given
  std::string missing;                         ///< what is wrong when none is taken
  std::string told;                            ///< what to give, for the user
};

/// A command line that does something useful.
struct example_record {
  std::string purpose;  ///< ends with a colon; may be empty
  std::string line;     ///< as it is typed, the program's name first
};

/// A command: everything that parser, help, manual page and completions say about it.
struct command_record {
  std::string group;                            ///< word before its name; empty when there is none
  std::string name;                             ///< its own word
  std::string summary;                          ///< one line without a full stop
  std::vector<std::string> details = {};        ///< paragraphs
  std::vector<option_record> options = {};      ///< in the order of the help
  std::vector<choice_rule> rules = {};          ///< checked in this order
  std::vector<example_record> examples = {};    ///< at least one
  std::function<void(invocation&)> begin = {};  ///< makes it the one to be carried out

  /// Group and name with a blank between: "reports list".
  [[nodiscard]] std::string words() const { return group.empty() ? name : group + ' ' + name; }
};

/// The word before the names of several commands.
struct group_record {
  std::string name;     ///< the word
  std::string summary;  ///< one line without a full stop
};

/// A name with what it stands for.
struct term_record {
  std::string name;         ///< "DURATION", "130", "NO_COLOR"
  std::string description;  ///< one line, or a paragraph
};

/// The program as a whole.
struct program_record {
  std::string summary;                   ///< one line without a full stop
  std::vector<std::string> details;      ///< paragraphs
  term_record help_option;               ///< that every command has too; answered by the parser itself
  term_record version_option;            ///< of the program alone; answered by the parser itself
  std::vector<option_record> options;    ///< that every command takes
  std::vector<group_record> groups;      ///< in the order of the help
  std::vector<command_record> commands;  ///< those of a group behind each other
  std::vector<term_record> values;       ///< kinds of values that several options take
  std::vector<term_record> exit_codes;   ///< with which it ends
  std::vector<term_record> environment;  ///< variables that it looks at
  std::vector<example_record> examples;  ///< at least one
};

/// The commands of a group, those without one when its name is empty; in their order.
[[nodiscard]] std::vector<command_record const*> commands_of(program_record const& program,
                                                             std::string const& group);

/// Checks the options of a command against each other.
/// @param given  names of those that are given
/// @return what is wrong in one line; empty when nothing is
[[nodiscard]] std::string find_fault(command_record const& command, std::set<std::string> const& given);

}  // namespace tavi::ctl
