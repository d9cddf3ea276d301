#include <fmt/format.h>

#include "commands/commands.h"
#include "commands/report_target.h"
#include "text/plain_text.h"

namespace tavi::ctl {

namespace {

using stations_maintenance::delete_reports_result;
using stations_maintenance::diagnostic_report_filter;

/// Ids in one request; nine times as many would be too large for it.
constexpr std::size_t ids_per_request = 10'000;

/// Whether one portion is gone; otherwise `code` says how the command ends.
bool delete_portion(command_context& context, diagnostic_report_filter const& filter,
                    std::chrono::seconds time_out, exit_code& code) {
  auto const result =
      take(context, "deleting reports", context.service.delete_diagnostic_reports(filter, time_out));
  if (!result.value) {
    code = result.code;
    return false;
  }
  if (*result.value == delete_reports_result::none_matched) {
    context.console.complain(
        "the reports were gone before: somebody else deleted them, or they gave way to newer ones");
    code = exit_code::failed;
  } else if (*result.value != delete_reports_result::deleted) {
    context.console.complain(
        "at least one report could not be deleted: \"reports list\" shows what is left, the "
        "service's log says why");
    code = exit_code::failed;
  }
  return true;
}

/// The reports of one station, which the site has to know. @return as `read_reports`
taken<std::vector<diagnostic_report_info>> read_reports_of(command_context& context, std::uint32_t station) {
  return take_present(context, fmt::format("listing the reports of station {}", station),
                      context.service.get_station_diagnostic_reports(station),
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
  return show(context, chosen, exit_code::done, now);
}

exit_code run_command(command_context& context, reports_folder_options const& /*options*/) {
  auto const folder =
      take(context, "asking for the folder of the reports", context.service.get_diagnostics_folder_path());
  if (!folder.value) {
    return folder.code;
  }
  return show_text(context, escape_text(*folder.value) + '\n', {{"diagnostics_folder_path", *folder.value}},
                   exit_code::done);
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
  if (!confirm(context, fmt::format("Delete {}?", count_text(chosen)), options.yes, !has_ids, code)) {
    return code;
  }
  send_in_portions(chosen, ids_per_request, [&](diagnostic_report_filter const& filter) {
    return delete_portion(context, filter, options.time_out, code);
  });
  if (code == exit_code::time_out) {
    return code;
  }
  auto const left = read_reports(context);
  if (!left.value) {
    return left.code;
  }
  auto const gone = deleted_ids(chosen, *left.value);
  return show_text(context, fmt::format("{} of {} deleted\n", gone.size(), count_text(chosen)),
                   {{"deleted", gone}}, code);
}

}  // namespace tavi::ctl
