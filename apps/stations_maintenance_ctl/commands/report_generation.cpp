#include <algorithm>

#include <fmt/format.h>

#include "commands/asked_stations.h"
#include "commands/commands.h"
#include "commands/each_once.h"
#include "commands/refusal_reason.h"
#include "commands/report_target.h"
#include "commands/site_access.h"
#include "commands/upload_failures.h"
#include "text/quantity_text.h"

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
/// @return done, or how the command ends because of such a request or because the user wants to end
exit_code ask_stations(command_context& context, std::vector<std::uint32_t> const& stations,
                       diagnostic_report_type type, upload_failures* failures,
                       std::vector<asked_station>& asked) {
  for (auto const id : stations) {
    if (context.clock.is_interrupted()) {
      context.console.complain(fmt::format("ended before the last {} of {} stations were asked",
                                           stations.size() - asked.size(), stations.size()));
      return code_of_interruption(context);
    }
    if (failures != nullptr) {
      failures->forget(id);
    }
    context.console.show_progress(
        fmt::format("asking station {} ({} of {})", id, asked.size() + 1, stations.size()));
    asked_station station{id};
    auto const ask = [&] {
      return context.service.generate_station_diagnostic_report(id, type, station.request);
    };
    auto const code =
        take(context, fmt::format("asking station {} for a report", id), ask, context.limits.station);
    station.outcome = code.value ? outcome_of(*code.value) : asking_outcome::failed;
    if (code.value && station.outcome == asking_outcome::failed) {
      station.reason = find_refusal_reason(context, id, type);
    }
    asked.push_back(station);
    if (!code.value) {
      return code.code;
    }
  }
  context.console.show_progress({});
  return exit_code::done;
}

/// Tells once of each station whose upload has failed.
void take_failures(command_context& context, upload_failures const& failures,
                   std::vector<asked_station>& asked) {
  for (auto& station : asked) {
    if (station.outcome == asking_outcome::accepted && failures.has(station.station_id)) {
      station.outcome = asking_outcome::upload_failed;
      context.console.complain(explain(station));
    }
  }
}

void show_waiting(command_context& context, std::ptrdiff_t waiting, std::chrono::nanoseconds elapsed,
                  std::chrono::seconds most) {
  auto const passed = std::chrono::floor<std::chrono::seconds>(elapsed);
  context.console.show_progress(fmt::format("waiting {} for {} report{}, at most {}", format_duration(passed),
                                            waiting, waiting == 1 ? "" : "s", format_duration(most)));
}

/// Waits until every station that accepted has its report; when the time is over, those that have none are
/// not filed. @return how the command ends
exit_code await_reports(command_context& context, reports_generate_options const& options,
                        upload_failures const& failures, std::set<std::uint32_t>& known,
                        std::vector<asked_station>& asked) {
  auto const begin = context.clock.steady_now();
  while (true) {
    auto const reports = read_reports(context);
    if (!reports.value) {
      return reports.code;
    }
    take_reports(asked, *reports.value, known, options.type);
    take_failures(context, failures, asked);
    auto const waiting = std::count_if(asked.begin(), asked.end(), is_waiting);
    if (waiting == 0) {
      return exit_code::done;
    }
    auto const elapsed = context.clock.steady_now() - begin;
    if (elapsed >= options.time_out) {
      std::for_each(asked.begin(), asked.end(), [](asked_station& station) {
        auto const is_late = station.outcome == asking_outcome::accepted;
        station.outcome = is_late ? asking_outcome::not_filed : station.outcome;
      });
      return exit_code::time_out;
    }
    show_waiting(context, waiting, elapsed, options.time_out);
    if (context.clock.wait(filing_poll_interval)) {
      return code_of_interruption(context);
    }
  }
}

/// Says of each station why it gives no report, unless that has been told.
/// @return `code`, or failed when a station gave no report, and none can be waited for
exit_code judge(command_context& context, std::vector<asked_station> const& asked, exit_code code) {
  for (auto const& station : asked) {
    auto const reason = station.outcome == asking_outcome::upload_failed ? "" : explain(station);
    if (!reason.empty()) {
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
  std::optional<upload_failures> failures;
  if (options.wait) {
    failures.emplace();
  }
  context.clock.take_over_interruption(notice_of_ordered_end);
  std::vector<asked_station> asked;
  auto code = ask_stations(context, *stations.value, options.type, failures ? &*failures : nullptr, asked);
  if (code == exit_code::done && options.wait) {
    code = await_reports(context, options, *failures, known, asked);
  }
  context.console.show_progress({});
  code = judge(context, asked, code);
  return show(context, asked, code_of_end(context, code));
}

}  // namespace tavi::ctl
