#include "commands/report_target.h"

#include <algorithm>

#include <fmt/format.h>

#include "text/quantity_text.h"

namespace tavi::ctl {

using stations_maintenance::diagnostic_report_filter;

taken<std::vector<diagnostic_report_info>> read_reports(command_context& context) {
  return take_present(
      context, "listing the reports", [&] { return context.service.get_diagnostic_reports(); },
      "the service cannot read its reports; its log says why");
}

std::vector<diagnostic_report_info> find_target(command_context& context, report_target const& target,
                                                std::vector<diagnostic_report_info> reports,
                                                exit_code& code) {
  if (target.ids.empty()) {
    return choose_reports(std::move(reports), target.choice, context.clock.now());
  }
  auto selection = select_reports(reports, target.ids);
  for (auto const id : selection.unknown) {
    context.console.complain(
        fmt::format("there is no report {}: \"reports list\" shows those there are", id));
    code = exit_code::failed;
  }
  return std::move(selection.found);
}

exit_code send_in_portions(command_context& context, char const* doing,
                           std::vector<diagnostic_report_info> const& reports, std::size_t most,
                           portion_sender const& send) {
  context.clock.take_over_interruption(notice_of_ordered_end);
  for (std::size_t begin = 0; begin < reports.size(); begin += most) {
    if (context.clock.is_interrupted()) {
      return code_of_interruption(context);
    }
    diagnostic_report_filter filter;
    auto const end = std::min(begin + most, reports.size());
    for (auto at = begin; at < end; ++at) {
      filter.diagnostic_ids.push_back(static_cast<std::int32_t>(reports[at].diagnostic_id));
    }
    auto const what = fmt::format("{} reports {} to {} of {}", doing, begin + 1, end, reports.size());
    context.console.show_progress(what);
    auto const code = send(filter, what);
    context.console.show_progress({});
    if (code != exit_code::done) {
      return code;
    }
  }
  return exit_code::done;
}

std::string count_text(std::vector<diagnostic_report_info> const& reports) {
  return fmt::format("{} report{} ({})", reports.size(), reports.size() == 1 ? "" : "s",
                     format_size(total_size(reports)));
}

}  // namespace tavi::ctl
