#include "command_line/help_text.h"

#include <algorithm>

#include <fmt/format.h>
#include <fmt/ranges.h>

#include "text/plain_text.h"

namespace tavi::ctl {

namespace {

constexpr std::size_t help_width = 100;

std::string terms_text(std::string const& title, std::vector<term_record> const& terms) {
  std::size_t width = 0;
  for (auto const& term : terms) {
    width = std::max(width, term.name.size());
  }
  auto text = title + ":\n";
  for (auto const& term : terms) {
    text += fmt::format("  {:<{}}  {}\n", term.name, width, term.description);
  }
  return text;
}

std::string examples_text(std::vector<example_record> const& examples) {
  std::string text = examples.size() == 1 ? "Example:" : "Examples:";
  for (auto const& example : examples) {
    text += "\n  " + example.line;
  }
  return text;
}

}  // namespace

std::string help_footer(program_record const& program) {
  std::vector<std::string> names;
  for (auto const& option : program.options) {
    names.push_back(option.name);
  }
  return fmt::format("Every command takes {} too, and has a {} with examples.\n\n{}\n{}\n{}\n{}",
                     fmt::join(names, ", "), program.help_option.name, terms_text("Values", program.values),
                     terms_text("Exit codes", program.exit_codes),
                     terms_text("Environment", program.environment), examples_text(program.examples));
}

std::string help_footer(command_record const& command) {
  std::string text;
  for (auto const& paragraph : command.details) {
    text += wrap_text(paragraph, help_width) + "\n\n";
  }
  return text + examples_text(command.examples);
}

}  // namespace tavi::ctl
