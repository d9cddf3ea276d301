#include <algorithm>

#include <fmt/format.h>

#include "commands/asked_stations.h"
#include "commands/commands.h"
#include "commands/each_once.h"
#include "commands/report_target.h"
#include "commands/site_access.h"

namespace tavi::ctl {

namespace {

constexpr std::chrono::milliseconds filing_poll_interval(500);

/// Ids of the stations to be asked, each once.
taken<std::vector<std::uint32_t>> find_stations(command_context& context,
                                                reports_generate_options const& options) {
  if (!options.all) {
    return {each_once(options.stations), exit_code::done};
  }
  auto const all = read_stations(context);
  if (!all.value) {
    return {std::nullopt, all.code};
  }
  std::vector<std::uint32_t> ids;
  for (auto const& station : *all.value) {
    ids.push_back(station.id);
  }
  return {ids, exit_code::done};
}

/// Asks one station after the other. A request without an answer ends it: the others would wait as long.
/// @return done, or how the command ends because of such a request
exit_code ask_stations(command_context& context, std::vector<std::uint32_t> const& stations,
                       diagnostic_report_type type, std::vector<asked_station>& asked) {
  for (auto const id : stations) {
    context.console.show_progress(
        fmt::format("asking station {} ({} of {})", id, asked.size() + 1, stations.size()));
    asked_station station{id};
    auto const code = take(context, fmt::format("asking station {} for a report", id),
                           context.service.generate_station_diagnostic_report(id, type, station.request));
    station.is_answered = code.value.has_value();
    station.outcome = code.value ? outcome_of(*code.value) : asking_outcome::failed;
    asked.push_back(station);
    if (!code.value) {
      return code.code;
    }
  }
  context.console.show_progress({});
  return exit_code::done;
}

bool is_waiting(asked_station const& station) {
  return station.outcome == asking_outcome::accepted;
}

/// Waits until every station that accepted has its report; when the time is over, those that have none are
/// not filed. @return how the command ends
exit_code await_reports(command_context& context, reports_generate_options const& options,
                        std::set<std::uint32_t>& known, std::vector<asked_station>& asked) {
  auto const deadline = context.clock.steady_now() + options.time_out;
  while (true) {
    auto const reports = read_reports(context);
    if (!reports.value) {
      return reports.code;
    }
    if (take_reports(asked, *reports.value, known, options.type)) {
      return exit_code::done;
    }
    if (context.clock.steady_now() >= deadline) {
      std::for_each(asked.begin(), asked.end(), [](asked_station& station) {
        station.outcome = is_waiting(station) ? asking_outcome::not_filed : station.outcome;
      });
      return exit_code::time_out;
    }
    auto const waiting = std::count_if(asked.begin(), asked.end(), is_waiting);
    context.console.show_progress(fmt::format("waiting for {} report{}", waiting, waiting == 1 ? "" : "s"));
    if (context.clock.wait(filing_poll_interval)) {
      return code_of_interruption(context);
    }
  }
}

/// Says of each station why it gives no report.
/// @return `code`, or failed when a station gave no report for another reason than time
exit_code judge(command_context& context, std::vector<asked_station> const& asked, exit_code code) {
  for (auto const& station : asked) {
    if (auto const reason = explain(station); !reason.empty()) {
      context.console.complain(reason);
      code = station.outcome == asking_outcome::not_filed ? code : exit_code::failed;
    }
  }
  return code;
}

}  // namespace

exit_code run_command(command_context& context, reports_generate_options const& options) {
  auto const stations = find_stations(context, options);
  if (!stations.value) {
    return stations.code;
  }
  std::set<std::uint32_t> known;
  if (options.wait) {
    auto const before = read_reports(context);
    if (!before.value) {
      return before.code;
    }
    for (auto const& report : *before.value) {
      known.insert(report.diagnostic_id);
    }
  }
  std::vector<asked_station> asked;
  auto code = ask_stations(context, *stations.value, options.type, asked);
  if (code == exit_code::done && options.wait) {
    code = await_reports(context, options, known, asked);
  }
  if (code == code_of_interruption(context)) {
    return code;
  }
  code = judge(context, asked, code);
  return show(context, asked, code);
}

}  // namespace tavi::ctl
