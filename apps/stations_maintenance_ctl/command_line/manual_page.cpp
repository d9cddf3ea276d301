#include "command_line/manual_page.h"

#include <algorithm>
#include <cctype>

#include <fmt/format.h>

#include "command_line/record_making.h"
#include "program_name.h"

namespace tavi::ctl {

namespace {

/// A text as it is shown letter by letter.
std::string roff(std::string const& text) {
  std::string escaped = text.starts_with('.') || text.starts_with('\'') ? "\\&" : "";
  for (auto const letter : text) {
    escaped += letter == '\\' ? "\\e" : letter == '-' ? "\\-" : std::string(1, letter);
  }
  return escaped;
}

std::string bold(std::string const& text) {
  return "\\fB" + roff(text) + "\\fR";
}

std::string italic(std::string const& text) {
  return "\\fI" + roff(text) + "\\fR";
}

/// A paragraph in which options stand out.
std::string paragraph_text(std::string const& paragraph) {
  auto const is_of_a_name = [](unsigned char letter) { return std::islower(letter) != 0 || letter == '-'; };
  std::string text;
  for (auto const& word : split_words(paragraph)) {
    auto const end = std::find_if_not(word.begin(), word.end(), is_of_a_name);
    auto const is_option = word.starts_with("--");
    text += text.empty() ? "" : " ";
    text += is_option ? bold({word.begin(), end}) + roff({end, word.end()}) : roff(word);
  }
  return text + '\n';
}

std::string paragraphs_text(std::vector<std::string> const& paragraphs) {
  std::string text;
  for (auto const& paragraph : paragraphs) {
    text += ".PP\n" + paragraph_text(paragraph);
  }
  return text;
}

std::string terms_section(std::string const& title, std::vector<term_record> const& terms) {
  auto text = ".SH " + title + '\n';
  for (auto const& term : terms) {
    text += ".TP\n.B " + roff(term.name) + '\n' + paragraph_text(term.description);
  }
  return text;
}

std::string example_paragraphs(std::vector<example_record> const& examples) {
  std::string text;
  for (auto const& example : examples) {
    text += ".PP\n";
    text += example.purpose.empty() ? "" : paragraph_text(example.purpose) + ".PP\n";
    text += ".RS\n.EX\n" + roff(example.line) + "\n.EE\n.RE\n";
  }
  return text;
}

/// The option as it is typed: "\-\-period DURATION".
std::string option_text(option_record const& option) {
  if (option.is_positional()) {
    return italic(option.name) + (option.is_repeated ? "..." : "");
  }
  return bold(option.name) + (option.is_flag() ? "" : " " + italic(option.value));
}

std::string synopsis(command_record const& command) {
  auto text = fmt::format(".B {} {}\n", program_name, command.words());
  for (auto const& option : command.options) {
    text += option.is_required ? option_text(option) : '[' + option_text(option) + ']';
    text += option.is_repeated && !option.is_positional() ? "...\n" : "\n";
  }
  return text;
}

std::string options_text(std::vector<option_record> const& options) {
  std::string text;
  for (auto const& option : options) {
    text += ".TP\n" + option_text(option) + '\n' + paragraph_text(option.description);
  }
  return text;
}

std::string command_section(command_record const& command) {
  return ".SS " + command.words() + "\n.PP\n" + synopsis(command) + ".PP\n" +
         paragraph_text(command.summary + '.') + paragraphs_text(command.details) +
         options_text(command.options) + example_paragraphs(command.examples);
}

}  // namespace

std::string make_manual_page(program_record const& program, std::string const& version) {
  auto summary = program.summary;
  summary.front() = static_cast<char>(std::tolower(static_cast<unsigned char>(summary.front())));
  auto text = fmt::format(
      ".TH STATIONS_MAINTENANCE_CTL 1 \"\" \"stations maintenance {}\" \"User commands\"\n", version);
  text += fmt::format(".SH NAME\n{} \\- {}\n", program_name, roff(summary));
  text += fmt::format(".SH SYNOPSIS\n.B {}\n[{}]\n{}\n[{}]\n", program_name, italic("common options"),
                      italic("command"), italic("options"));
  text += ".SH DESCRIPTION\n" + paragraphs_text(program.details);
  text += ".SH COMMON OPTIONS\n" + options_text(program.options);
  for (auto const& term : {program.help_option, program.version_option}) {
    text += ".TP\n" + bold(term.name) + '\n' + paragraph_text(term.description);
  }
  text += ".SH COMMANDS\n";
  for (auto const& command : program.commands) {
    text += command_section(command);
  }
  text += terms_section("VALUES", program.values) + terms_section("EXIT STATUS", program.exit_codes) +
          terms_section("ENVIRONMENT", program.environment);
  return text + ".SH EXAMPLES\n" + example_paragraphs(program.examples);
}

}  // namespace tavi::ctl
