#include "terminal/terminal_console.h"

#include <poll.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include <algorithm>
#include <cctype>
#include <cerrno>
#include <cstdlib>
#include <string>
#include <system_error>

#include <fmt/format.h>

#include "mura_common/file.h"
#include "program_name.h"
#include "terminal/pager.h"
#include "text/plain_text.h"

namespace tavi::ctl {

namespace {

constexpr std::size_t usual_columns = 80;

bool has_value(char const* variable) {
  char const* const value = std::getenv(variable);
  return value != nullptr && *value != '\0';
}

bool is_dumb_terminal() {
  char const* const terminal = std::getenv("TERM");
  return terminal == nullptr || std::string_view(terminal) == "dumb";
}

/// Of the terminal at a descriptor; zeros when that is none, or does not know.
winsize size_of(int descriptor) {
  winsize size{};
  return ::ioctl(descriptor, TIOCGWINSZ, &size) == 0 ? size : winsize{};
}

/// Writes what is no result; nobody is there to be told when it cannot be written.
void write_below(std::string_view text) {
  std::error_code ignored;
  static_cast<void>(mura_common::write_all(STDERR_FILENO, text, ignored));
}

}  // namespace

terminal_console::terminal_console(shared_output& output, bool may_page) : shared(output) {
  layout.is_aligned = ::isatty(STDOUT_FILENO) == 1;
  layout.is_coloured = layout.is_aligned && !has_value("NO_COLOR") && !is_dumb_terminal();
  has_pager = may_page && layout.is_aligned && !is_dumb_terminal();
  has_progress = ::isatty(STDERR_FILENO) == 1 && !is_dumb_terminal();
}

terminal_console::~terminal_console() {
  show_progress({});
}

bool terminal_console::write(std::string_view text) {
  if (is_to_be_paged(text) && page(text)) {
    return true;
  }
  std::error_code error;
  {
    std::lock_guard const whole(shared.writing);
    hide_progress();
    static_cast<void>(mura_common::write_all(STDOUT_FILENO, text, error));
  }
  if (error && error != std::errc::broken_pipe) {
    complain("cannot write the output: " + error.message());
  }
  return !error;
}

/// A screen has its last line for the prompt.
bool terminal_console::is_to_be_paged(std::string_view text) const {
  auto const lines = std::count(text.begin(), text.end(), '\n');
  auto const rows = has_pager ? size_of(STDOUT_FILENO).ws_row : 0;
  return rows != 0 && lines >= rows;
}

/// Whether somebody read it in a pager. Nobody waits for the end of that as for the end of a writing.
bool terminal_console::page(std::string_view text) {
  auto const command = pager_command();
  if (command.empty()) {
    return false;
  }
  show_progress({});
  shared.is_paging = true;
  auto const is_shown = show_in_pager(command, text);
  shared.is_paging = false;
  return is_shown;
}

bool terminal_console::has_reader() const {
  pollfd output{STDOUT_FILENO, 0, 0};
  return ::poll(&output, 1, 0) <= 0 || (output.revents & (POLLERR | POLLHUP)) == 0;
}

void terminal_console::complain(std::string_view line) {
  std::lock_guard const whole(shared.writing);
  hide_progress();
  write_below(fmt::format("{}: {}\n", program_name, line));
}

void terminal_console::show_progress(std::string_view line) {
  std::lock_guard const whole(shared.writing);
  if (line.empty()) {
    hide_progress();
  } else if (has_progress) {
    write_below(fmt::format("{}{}", clear_line, fit_to_width(line, progress_columns())));
    shared.is_showing_progress = true;
  }
}

std::size_t terminal_console::progress_columns() const {
  if (!has_progress) {
    return 0;
  }
  auto const columns = size_of(STDERR_FILENO).ws_col;
  // With the last column filled, some terminals begin a new line.
  return columns == 0 ? usual_columns - 1 : std::max<std::size_t>(columns, 2) - 1;
}

/// The lock is held.
void terminal_console::hide_progress() {
  if (shared.is_showing_progress.exchange(false)) {
    write_below(clear_line);
  }
}

bool terminal_console::can_ask() const {
  return ::isatty(STDIN_FILENO) == 1 && ::isatty(STDERR_FILENO) == 1;
}

bool terminal_console::ask(std::string_view question) {
  show_progress({});
  write_below(fmt::format("{} [y/N] ", question));
  std::string answer;
  char letter = 0;
  while (::read(STDIN_FILENO, &letter, 1) == 1 && letter != '\n') {
    answer += letter;
  }
  std::transform(answer.begin(), answer.end(), answer.begin(),
                 [](unsigned char one) { return static_cast<char>(std::tolower(one)); });
  return answer == "y" || answer == "yes";
}

}  // namespace tavi::ctl
