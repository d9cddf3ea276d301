#include <string>
#include <vector>

#include <fmt/format.h>

#include "commands/commands.h"
#include "text/quantity_text.h"

namespace tavi::ctl {

namespace {

using stations_maintenance::stations_maintenance_configuration;

taken<stations_maintenance_configuration> read_configuration(command_context& context) {
  return take_present(
      context, "reading the configuration", [&] { return context.service.get_configuration(); },
      "the service has no configuration to show");
}

/// The configuration to be set. What is given applies as it stands: the flag says nothing else than that the
/// maximum is not 0, and sent as false it would make the service drop maximum and period.
stations_maintenance_configuration changed_configuration(stations_maintenance_configuration const& current,
                                                         config_set_options const& options) {
  if (options.disable) {
    return {0, false, std::chrono::seconds(0)};
  }
  return {options.max_periodic.value_or(current.max_periodic_report_per_station), true,
          options.period.value_or(current.period_for_automatic_generation)};
}

/// One request to the service, and what it changes for people.
struct change_step {
  stations_maintenance_configuration values;
  std::string name;
};

/// The way to what is wanted, one value in each request. The service stores one value before it refuses the
/// other: both at once would leave behind what nobody sees until its next start, and a refusal that does not
/// tell which value it is about.
std::vector<change_step> make_steps(stations_maintenance_configuration const& current,
                                    stations_maintenance_configuration const& wanted,
                                    config_set_options const& options) {
  auto const has_maximum = options.max_periodic || options.disable;
  auto const has_period = options.period || options.disable;
  auto const maximum = fmt::format("the maximum {}", wanted.max_periodic_report_per_station);
  auto const period = fmt::format("the period {}", format_duration(wanted.period_for_automatic_generation));
  std::vector<change_step> steps;
  if (has_maximum) {
    steps.push_back(
        {{wanted.max_periodic_report_per_station, true, current.period_for_automatic_generation}, maximum});
  }
  if (has_period) {
    steps.push_back({wanted, period});
  }
  if (steps.empty()) {
    steps.push_back({wanted, maximum + " and " + period});
  }
  return steps;
}

/// Whether a configuration is the one asked for; the flag says what the maximum says.
bool has_values_of(stations_maintenance_configuration const& current,
                   stations_maintenance_configuration const& wanted) {
  return current.max_periodic_report_per_station == wanted.max_periodic_report_per_station &&
         current.period_for_automatic_generation == wanted.period_for_automatic_generation;
}

/// Tells what the service refused, and what is in force now.
void explain_refusal(command_context& context, change_step const& refused,
                     stations_maintenance_configuration const& current) {
  auto const in_force =
      fmt::format("In force now: a maximum of {} and a period of {}", current.max_periodic_report_per_station,
                  format_duration(current.period_for_automatic_generation));
  if (has_values_of(current, refused.values)) {
    context.console.complain(
        fmt::format("the service took {}, but could not restart the periodic generation; the service's log "
                    "says why. {}",
                    refused.name, in_force));
    return;
  }
  context.console.complain(fmt::format(
      "the service did not take {}: it, or the other value, may lie outside its range (min and max in "
      "[limits.diagnostic_report] of stations_maintenance_service.toml), or the service may not write to the "
      "folder of that file, of which it warns at its start; its log says which. {}",
      refused.name, in_force));
}

/// Takes the steps up to the first that the service does not take. @return the one not taken, empty when all
/// are; no value when a request got no answer
taken<std::optional<change_step>> take_steps(command_context& context,
                                             std::vector<change_step> const& steps) {
  for (auto const& step : steps) {
    auto const done =
        take(context, "setting " + step.name, [&] { return context.service.set_configuration(step.values); });
    if (!done.value) {
      return {std::nullopt, done.code};
    }
    if (!*done.value) {
      return {std::optional(std::optional(step)), exit_code::failed};
    }
  }
  return {std::optional(std::optional<change_step>()), exit_code::done};
}

/// Says so when a value was given that is of no use as long as the other one is 0.
void warn_when_off(command_context& context, config_set_options const& options,
                   stations_maintenance_configuration const& current) {
  if (options.period.value_or(std::chrono::seconds(0)).count() > 0 &&
      current.max_periodic_report_per_station == 0) {
    context.console.complain("periodic generation stays off, because the maximum is 0: give --max-periodic");
  }
  if (options.max_periodic.value_or(0) > 0 && current.period_for_automatic_generation.count() == 0) {
    context.console.complain("periodic generation stays off, because the period is 0: give --period");
  }
}

/// Whether what is wanted can be meant; tells why not.
bool is_meaningful(command_context& context, config_set_options const& options,
                   stations_maintenance_configuration const& wanted) {
  if (!options.enable) {
    return true;
  }
  if (wanted.max_periodic_report_per_station == 0) {
    context.console.complain(
        "--enable: the maximum of periodic reports is 0, give --max-periodic above 0 too");
    return false;
  }
  if (wanted.period_for_automatic_generation.count() == 0) {
    context.console.complain("--enable: the period of generation is 0, give --period above 0 too");
    return false;
  }
  return true;
}

}  // namespace

exit_code run_command(command_context& context, config_get_options const& /*options*/) {
  auto const current = read_configuration(context);
  return current.value ? show(context, *current.value, exit_code::done) : current.code;
}

exit_code run_command(command_context& context, config_set_options const& options) {
  auto const before = read_configuration(context);
  if (!before.value) {
    return before.code;
  }
  auto const wanted = changed_configuration(*before.value, options);
  if (!is_meaningful(context, options, wanted)) {
    return exit_code::usage;
  }
  auto const refused = take_steps(context, make_steps(*before.value, wanted, options));
  if (!refused.value) {
    return refused.code;
  }
  auto const after = read_configuration(context);
  if (!after.value) {
    return after.code;
  }
  if (auto const& step = *refused.value) {
    explain_refusal(context, *step, *after.value);
    return exit_code::failed;
  }
  warn_when_off(context, options, *after.value);
  return show(context, *after.value, exit_code::done);
}

}  // namespace tavi::ctl
