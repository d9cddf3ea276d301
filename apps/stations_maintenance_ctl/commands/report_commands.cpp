#include <fmt/format.h>

#include "commands/commands.h"
#include "commands/deletion_question.h"
#include "commands/limit_to.h"
#include "commands/report_file.h"
#include "commands/report_target.h"
#include "text/plain_text.h"

namespace tavi::ctl {

namespace {

using stations_maintenance::delete_reports_result;
using stations_maintenance::diagnostic_report_filter;

/// Reports in one request: so many are gone in a moment, so that one sees how far it has come.
constexpr std::size_t deletions_per_request = 100;

/// What the service has said about the portions of one deletion.
struct told_deletion {
  bool has_missed = false;  ///< of a portion, there was no report any more
  bool has_failed = false;  ///< a report could not be deleted
};

/// @return done when the service answered, whatever it said
exit_code delete_portion(command_context& context, diagnostic_report_filter const& filter,
                         std::string const& what, std::chrono::seconds time_out, told_deletion& told) {
  auto const result = take(
      context, what, [&] { return context.service.delete_diagnostic_reports(filter, time_out); }, time_out);
  if (!result.value) {
    return result.code;
  }
  auto const has_missed = *result.value == delete_reports_result::none_matched;
  told.has_missed |= has_missed;
  told.has_failed |= !has_missed && *result.value != delete_reports_result::deleted;
  return exit_code::done;
}

/// @return `code`, or failed when not everything was deleted
exit_code judge(command_context& context, told_deletion const& told, exit_code code) {
  if (told.has_missed) {
    context.console.complain(
        "the reports were gone before: somebody else deleted them, or they gave way to newer ones");
  }
  if (told.has_failed) {
    context.console.complain(
        "at least one report could not be deleted: \"reports list\" shows what is left, "
        "the service's log says why");
  }
  return told.has_missed || told.has_failed ? exit_code::failed : code;
}

/// The reports of one station, which the site has to know. @return as `read_reports`
taken<std::vector<diagnostic_report_info>> read_reports_of(command_context& context, std::uint32_t station) {
  return take_present(
      context, fmt::format("listing the reports of station {}", station),
      [&] { return context.service.get_station_diagnostic_reports(station); },
      fmt::format("station {} is not known to the site", station));
}

/// Ids of those that were asked to be deleted and are not there any more.
json deleted_ids(std::vector<diagnostic_report_info> const& chosen,
                 std::vector<diagnostic_report_info> const& left) {
  std::vector<std::uint32_t> ids;
  for (auto const& report : chosen) {
    ids.push_back(report.diagnostic_id);
  }
  return select_reports(left, ids).unknown;
}

}  // namespace

exit_code run_command(command_context& context, reports_list_options const& options) {
  auto const& stations = options.choice.stations;
  auto reports = stations.size() == 1 ? read_reports_of(context, stations.front()) : read_reports(context);
  if (!reports.value) {
    return reports.code;
  }
  auto const now = context.clock.now();
  auto chosen = choose_reports(std::move(*reports.value), options.choice, now);
  sort_reports(chosen, options.order, options.reverse);
  limit_to(chosen, options.limit);
  return show(context, chosen, exit_code::done, now, options.time);
}

exit_code run_command(command_context& context, reports_folder_options const& /*options*/) {
  auto const folder = read_report_folder(context);
  if (!folder.value) {
    return folder.code;
  }
  auto const path = folder.value->string();
  return show_text(context, escape_text(path) + '\n', {{"diagnostics_folder_path", path}}, exit_code::done);
}

exit_code run_command(command_context& context, reports_delete_options const& options) {
  auto code = exit_code::done;
  auto reports = read_reports(context);
  if (!reports.value) {
    return reports.code;
  }
  auto const chosen = find_target(context, options.target, std::move(*reports.value), code);
  if (chosen.empty()) {
    return show_text(context, "no report deleted\n", {{"deleted", json::array()}}, code);
  }
  auto const has_ids = !options.target.ids.empty();
  auto const is_asked = !options.yes && context.console.can_ask();
  auto const question = is_asked ? deletion_question(chosen) : fmt::format("Delete {}?", count_text(chosen));
  if (!confirm(context, question, options.yes, !has_ids, code)) {
    return code;
  }
  told_deletion told;
  auto const sent = send_in_portions(context, "deleting", chosen, deletions_per_request,
                                     [&](diagnostic_report_filter const& filter, std::string const& what) {
                                       return delete_portion(context, filter, what, options.time_out, told);
                                     });
  code = judge(context, told, sent == exit_code::done ? code : sent);
  if (has_no_answer(sent)) {
    return sent;
  }
  auto const left = read_reports(context);
  if (!left.value) {
    return left.code;
  }
  auto const gone = deleted_ids(chosen, *left.value);
  return show_text(context, fmt::format("{} of {} deleted\n", gone.size(), count_text(chosen)),
                   {{"deleted", gone}}, code_of_end(context, code));
}

}  // namespace tavi::ctl
