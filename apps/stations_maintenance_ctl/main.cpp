#include <signal.h>

#include <exception>
#include <iostream>
#include <stdexcept>

#include <spdlog/sinks/stdout_sinks.h>
#include <spdlog/spdlog.h>

#include "program.h"
#include "program_name.h"
#include "terminal/interruption.h"
#include "terminal/shared_output.h"
#include "terminal/terminal_console.h"

namespace {

/// The standard output is for results only.
void log_to_standard_error(bool is_verbose) {
  spdlog::set_default_logger(spdlog::stderr_logger_mt(tavi::ctl::program_name));
  spdlog::set_level(is_verbose ? spdlog::level::debug : spdlog::level::off);
}

}  // namespace

int main(int argc, char** argv) {
  try {
    auto const parsed = tavi::ctl::parse_command_line(argc, argv);
    if (auto const* const end = std::get_if<tavi::ctl::early_end>(&parsed)) {
      auto& stream = end->code == 0 ? std::cout : std::cerr;
      stream << end->text << std::flush;
      if (!std::cout) {
        throw std::runtime_error("cannot write the output");
      }
      return end->code;
    }
    auto const& invoked = std::get<tavi::ctl::invocation>(parsed);
    // A reader that goes away is told by the write that fails.
    signal(SIGPIPE, SIG_IGN);
    log_to_standard_error(invoked.is_verbose);
    tavi::ctl::shared_output output;
    tavi::ctl::interruption clock(output);
    tavi::ctl::terminal_console console(output, !invoked.no_pager);
    return static_cast<int>(tavi::ctl::run(invoked, console, clock));
  } catch (std::exception const& error) {
    std::cerr << tavi::ctl::program_name << ": " << error.what() << '\n';
    return static_cast<int>(tavi::ctl::exit_code::failed);
  }
}
