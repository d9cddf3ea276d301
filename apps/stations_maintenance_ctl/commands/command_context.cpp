#include "commands/command_context.h"

#include "text/plain_text.h"
#include "text/quantity_text.h"

namespace tavi::ctl {

exit_code code_of_interruption(command_context const& context) {
  constexpr int code_of_signals = 128;
  return static_cast<exit_code>(code_of_signals + context.clock.interrupting_signal());
}

exit_code code_of_end(command_context const& context, exit_code code) {
  return context.clock.is_interrupted() ? code_of_interruption(context) : code;
}

waiting_notice tell_waiting(command_context& context, std::string const& what,
                            std::chrono::milliseconds limit) {
  auto const most = format_duration(std::chrono::ceil<std::chrono::seconds>(limit));
  return waiting_notice(context.console, [what, most](std::chrono::seconds elapsed) {
    return fmt::format("{}: waiting {} for an answer, at most {}", what, format_duration(elapsed), most);
  });
}

exit_code explain_failure(command_context& context, std::string const& what,
                          mura_common::call_outcome const& outcome) {
  using mura_common::call_failure;
  auto const tell = [&](std::string const& told, exit_code code) {
    context.console.complain(what + ": the stations maintenance service " + told);
    return code;
  };
  switch (outcome.failure) {
    case call_failure::timed_out:
      return tell("gave no answer in time: it is busy with another request, or hangs. Look at its log",
                  exit_code::time_out);
    case call_failure::connection_lost:
      return tell("ended before it answered. It may have done it all the same: look at its log",
                  exit_code::not_reachable);
    case call_failure::not_reached:
      return tell("went away before the request reached it: look at its log", exit_code::not_reachable);
    case call_failure::malformed:
      return tell("answered with what this program does not understand. Are both of the same version?",
                  exit_code::failed);
    case call_failure::refused:
    case call_failure::closed:
    case call_failure::none:
      break;
  }
  return tell("answered with an error (" + escape_text(outcome.reason) + "); its log says more",
              exit_code::failed);
}

bool has_no_answer(exit_code code) {
  return code == exit_code::time_out || code == exit_code::not_reachable;
}

exit_code show_text(command_context& context, std::string const& text, json const& document, exit_code code) {
  return context.console.write(context.is_json ? json_text(document) : text) ? code : exit_code::failed;
}

bool confirm(command_context& context, std::string const& question, bool is_confirmed, bool needs_yes,
             exit_code& code) {
  if (is_confirmed) {
    return true;
  }
  if (!context.console.can_ask()) {
    if (needs_yes) {
      context.console.complain("there is no terminal to ask \"" + question +
                               "\" on: say --yes if that is wanted");
      code = exit_code::usage;
    }
    return !needs_yes;
  }
  if (!context.console.ask(question)) {
    context.console.complain("nothing was done");
    code = exit_code::failed;
    return false;
  }
  return true;
}

}  // namespace tavi::ctl
