#include "terminal/terminal_console.h"

#include <poll.h>
#include <unistd.h>

#include <algorithm>
#include <cctype>
#include <cerrno>
#include <cstdlib>
#include <string>
#include <system_error>

#include <fmt/format.h>

#include "program_name.h"

namespace tavi::ctl {

namespace {

constexpr char const* const clear_line = "\r\x1b[K";

bool has_value(char const* variable) {
  char const* const value = std::getenv(variable);
  return value != nullptr && *value != '\0';
}

bool is_dumb_terminal() {
  char const* const terminal = std::getenv("TERM");
  return terminal == nullptr || std::string_view(terminal) == "dumb";
}

/// @return 0, or the error that ended it
int write_all(int descriptor, std::string_view text) {
  while (!text.empty()) {
    auto const count = ::write(descriptor, text.data(), text.size());
    if (count < 0 && errno != EINTR) {
      return errno;
    }
    text.remove_prefix(count < 0 ? 0 : static_cast<std::size_t>(count));
  }
  return 0;
}

}  // namespace

terminal_console::terminal_console(std::mutex& output) : writing(output) {
  layout.is_aligned = ::isatty(STDOUT_FILENO) == 1;
  layout.is_coloured = layout.is_aligned && !has_value("NO_COLOR") && !is_dumb_terminal();
  has_progress = ::isatty(STDERR_FILENO) == 1 && !is_dumb_terminal();
}

terminal_console::~terminal_console() {
  show_progress({});
}

bool terminal_console::write(std::string_view text) {
  show_progress({});
  int error = 0;
  {
    std::lock_guard const whole(writing);
    error = write_all(STDOUT_FILENO, text);
  }
  if (error != 0 && error != EPIPE) {
    complain("cannot write the output: " + std::generic_category().message(error));
  }
  return error == 0;
}

bool terminal_console::has_reader() const {
  pollfd output{STDOUT_FILENO, 0, 0};
  return ::poll(&output, 1, 0) <= 0 || (output.revents & (POLLERR | POLLHUP)) == 0;
}

void terminal_console::complain(std::string_view line) {
  show_progress({});
  write_all(STDERR_FILENO, fmt::format("{}: {}\n", program_name, line));
}

void terminal_console::show_progress(std::string_view line) {
  if (!has_progress || (line.empty() && !is_showing_progress)) {
    return;
  }
  write_all(STDERR_FILENO, fmt::format("{}{}", clear_line, line));
  is_showing_progress = !line.empty();
}

bool terminal_console::can_ask() const {
  return ::isatty(STDIN_FILENO) == 1 && ::isatty(STDERR_FILENO) == 1;
}

bool terminal_console::ask(std::string_view question) {
  show_progress({});
  write_all(STDERR_FILENO, fmt::format("{} [y/N] ", question));
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
