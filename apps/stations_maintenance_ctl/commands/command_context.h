#pragma once

#include <chrono>
#include <concepts>
#include <optional>
#include <string>
#include <utility>

#include <fmt/format.h>

#include "commands/exit_code.h"
#include "stations_maintenance/req_resp_stations_maintenance_service.h"
#include "terminal/clock.h"
#include "terminal/console.h"
#include "terminal/waiting_notice.h"
#include "text/record_json.h"
#include "text/record_text.h"
#include "upload/http_upload.h"

namespace tavi::ctl {

/// What every command works with; everything belongs to the caller.
struct command_context {
  i_console& console;                                                    ///< where it writes to
  i_clock& clock;                                                        ///< time, and the wish to end
  i_uploader& uploader;                                                  ///< takes files to the web server
  stations_maintenance::req_resp_stations_maintenance_service& service;  ///< answers the requests
  bool is_json = false;                                                  ///< write JSON instead of text
  stations_maintenance::call_limits limits = {};                         ///< of the service's operations
};

/// Said when the user wants to end a command that has to end in order.
inline constexpr char const* notice_of_ordered_end = "ending in order; Ctrl-C again ends at once";

/// How a command ends that the user wants to end.
[[nodiscard]] exit_code code_of_interruption(command_context const& context);

/// `code`, unless the user wanted to end: whatever went wrong since then is of no interest.
[[nodiscard]] exit_code code_of_end(command_context const& context, exit_code code);

/// A value of the service's, or how the command ends without it.
template <typename T>
struct taken {
  std::optional<T> value;              ///< absent when there is none; why has been told
  exit_code code = exit_code::failed;  ///< when there is no value
};

/// Tells why a request gave no result. @param what  that was asked for @return how the command ends
exit_code explain_failure(command_context& context, std::string const& what,
                          mura_common::call_outcome const& outcome);

/// Whether a command ends so because a request got no answer: what it asked for may have been done all the
/// same.
[[nodiscard]] bool has_no_answer(exit_code code);

/// Tells at a terminal, after a while, that the answer to a request is being waited for.
[[nodiscard]] waiting_notice tell_waiting(command_context& context, std::string const& what,
                                          std::chrono::milliseconds limit);

/// Takes the result out of an answer; without one tells why.
template <typename T>
[[nodiscard]] taken<T> take(command_context& context, std::string const& what,
                            mura_common::call_result<T> answer) {
  if (answer.value) {
    return {std::move(answer.value), exit_code::done};
  }
  return {std::nullopt, explain_failure(context, what, {answer.failure, answer.reason})};
}

/// Asks the service and takes the result out of its answer. Who waits for it at a terminal is told so.
/// @param call   gives the answer
/// @param limit  of the waiting, for telling it
template <std::invocable Call>
[[nodiscard]] auto take(command_context& context, std::string const& what, Call const& call,
                        std::chrono::milliseconds limit) {
  auto const ask = [&] {
    auto const notice = tell_waiting(context, what, limit);
    return call();
  };
  return take(context, what, ask());
}

/// As above, for an operation that needs no station's answer.
template <std::invocable Call>
[[nodiscard]] auto take(command_context& context, std::string const& what, Call const& call) {
  return take(context, what, call, context.limits.query);
}

/// As `take`, where the service itself may have nothing to give: tells `absence` then.
/// @param answer  or what gives it
template <typename Answer>
[[nodiscard]] auto take_present(command_context& context, std::string const& what, Answer answer,
                                std::string const& absence) {
  auto given = take(context, what, std::move(answer));
  using value = typename decltype(given.value)::value_type::value_type;
  if (!given.value) {
    return taken<value>{std::nullopt, given.code};
  }
  if (!*given.value) {
    context.console.complain(absence);
    return taken<value>{std::nullopt, exit_code::failed};
  }
  return taken<value>{std::move(*given.value), exit_code::done};
}

/// Writes records: as JSON or as text, as the user wants.
/// @return `code`, or `failed` when nothing could be written
template <typename Records, typename... Layout>
exit_code show(command_context& context, Records const& records, exit_code code, Layout const&... layout) {
  auto const text =
      context.is_json ? json_text(json_of(records)) : text_of(records, layout..., context.console.style());
  return context.console.write(text) ? code : exit_code::failed;
}

/// Writes a result that is no list of records: the document as JSON or the text, as the user wants. @return
/// as `show`
exit_code show_text(command_context& context, std::string const& text, json const& document, exit_code code);

/// Asks the user to confirm what cannot be undone.
/// @param is_confirmed  the command line says yes already
/// @param needs_yes     without a terminal the command line must say yes
/// @return whether to go on; when false, `code` tells how the command ends and why has been told
[[nodiscard]] bool confirm(command_context& context, std::string const& question, bool is_confirmed,
                           bool needs_yes, exit_code& code);

}  // namespace tavi::ctl
