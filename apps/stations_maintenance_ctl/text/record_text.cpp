#include "text/record_text.h"

#include <fmt/format.h>
#include <fmt/ranges.h>

#include "commands/report_choice.h"
#include "text/quantity_text.h"
#include "text/record_names.h"

namespace tavi::ctl {

namespace {

using stations_maintenance::station_firmware_info;

table_cell size_cell(std::uint32_t bytes) {
  return {format_size(bytes), std::to_string(bytes)};
}

table_cell time_cell(diagnostic_report_info const& report, std::chrono::system_clock::time_point now,
                     std::optional<time_form> form) {
  auto const age = format_age(age_of(report, now));
  auto const utc = format_utc(report.timestamp_creation);
  if (!form) {
    return {age, utc};
  }
  return *form == time_form::age   ? age
         : *form == time_form::utc ? utc
                                   : format_local(report.timestamp_creation);
}

std::string models_text(station_firmware_info const& firmware) {
  return fmt::format("{}", fmt::join(firmware.models, ","));
}

}  // namespace

std::string text_of(std::vector<diagnostic_report_info> const& reports,
                    std::chrono::system_clock::time_point now, std::optional<time_form> form,
                    table_style const& style) {
  if (reports.empty() && style.is_aligned) {
    return "no reports\n";
  }
  auto const title = form.value_or(time_form::age) == time_form::age ? "AGE" : "TIME";
  table lines({{"ID", true}, {"STATION", true}, {"TYPE"}, {title}, {"SIZE", true}, {"NAME"}});
  for (auto const& report : reports) {
    lines.add({std::to_string(report.diagnostic_id), std::to_string(report.station_id), name_of(report.type),
               time_cell(report, now, form), size_cell(report.size), report.diagnostic_name});
  }
  return lines.text(style);
}

std::string text_of(std::vector<station_firmware_info> const& firmwares, table_style const& style) {
  if (firmwares.empty() && style.is_aligned) {
    return "no firmware\n";
  }
  table lines({{"ID", true}, {"VERSION"}, {"STATUS"}, {"SIZE", true}, {"MODELS"}, {"PATH"}});
  for (auto const& firmware : firmwares) {
    lines.add({std::to_string(firmware.id), firmware.version, name_of(firmware.status),
               size_cell(firmware.size), models_text(firmware), firmware.path});
  }
  return lines.text(style);
}

std::string text_of(station_firmware_info const& firmware, table_style const& style) {
  return lay_out_record({{"id", std::to_string(firmware.id)},
                         {"version", firmware.version},
                         {"status", name_of(firmware.status)},
                         {"models", models_text(firmware)},
                         {"size", size_cell(firmware.size)},
                         {"hash", firmware.hash},
                         {"path", firmware.path}},
                        style);
}

std::string text_of(stations_maintenance::stations_maintenance_configuration const& configuration,
                    table_style const& style) {
  auto const period = configuration.period_for_automatic_generation;
  return lay_out_record(
      {{"max_periodic_report_per_station", std::to_string(configuration.max_periodic_report_per_station)},
       {"periodic_generation_enabled",
        std::string(configuration.periodic_generation_enabled ? "true" : "false")},
       {"period_for_automatic_generation", {format_duration(period), std::to_string(period.count())}}},
      style);
}

}  // namespace tavi::ctl
