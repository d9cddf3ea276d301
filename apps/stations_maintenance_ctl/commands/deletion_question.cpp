#include "commands/deletion_question.h"

#include <algorithm>
#include <filesystem>

#include <fmt/format.h>
#include <fmt/ranges.h>

#include "commands/report_target.h"
#include "text/plain_text.h"
#include "text/quantity_text.h"

namespace tavi::ctl {

namespace {

constexpr std::size_t most_described = 10;

std::string describe(diagnostic_report_info const& report) {
  return fmt::format("report {} ({} of station {}, {})", report.diagnostic_id,
                     escape_text(report.diagnostic_name), report.station_id, format_size(report.size));
}

std::string describe(stations_maintenance::station_firmware_info const& firmware) {
  auto const name = std::filesystem::path(firmware.path).filename().string();
  auto const version = firmware.version.empty() ? "no version" : "version " + escape_text(firmware.version);
  return fmt::format("firmware {} ({}, {}, {})", firmware.id,
                     name.empty() ? "no file yet" : escape_text(name), version, format_size(firmware.size));
}

/// @return only the number for one that the service does not know
taken<std::string> describe_firmware(command_context& context, std::uint32_t id) {
  auto const answer = take(context, fmt::format("looking at firmware {}", id),
                           [&] { return context.service.get_firmware(id); });
  if (!answer.value) {
    return {std::nullopt, answer.code};
  }
  return {*answer.value ? describe(**answer.value) : fmt::format("firmware {}", id), exit_code::done};
}

/// One thing in the question itself; several on lines before it.
std::string question_about(std::vector<std::string> const& described, std::size_t count,
                           std::string const& all) {
  if (count == 1) {
    return "Delete " + described.front() + '?';
  }
  auto const more = count > described.size() ? fmt::format("  and {} more\n", count - described.size()) : "";
  return fmt::format("  {}\n{}Delete {}?", fmt::join(described, "\n  "), more, all);
}

}  // namespace

std::string deletion_question(std::vector<diagnostic_report_info> const& reports) {
  std::vector<std::string> described;
  for (std::size_t at = 0; at < std::min(most_described, reports.size()); ++at) {
    described.push_back(describe(reports[at]));
  }
  return question_about(described, reports.size(), count_text(reports));
}

taken<std::string> deletion_question(command_context& context, std::vector<std::uint32_t> const& firmwares) {
  std::vector<std::string> described;
  for (std::size_t at = 0; at < std::min(most_described, firmwares.size()); ++at) {
    auto one = describe_firmware(context, firmwares[at]);
    if (!one.value) {
      return one;
    }
    described.push_back(std::move(*one.value));
  }
  auto const all = fmt::format("firmware {}", fmt::join(firmwares, ", "));
  return {question_about(described, firmwares.size(), all), exit_code::done};
}

}  // namespace tavi::ctl
