#include "commands/report_file.h"

#include <unistd.h>

#include <cerrno>
#include <system_error>

#include <fmt/format.h>

#include "commands/report_target.h"
#include "commands/service_paths.h"
#include "text/plain_text.h"
#include "text/record_names.h"

namespace tavi::ctl {

namespace {

/// Whether the file may be read; tells why not.
bool is_readable(command_context& context, std::filesystem::path const& path) {
  if (::access(path.c_str(), R_OK) == 0) {
    return true;
  }
  auto const error = errno;
  auto const advice =
      error == EACCES ? ": run as root or as a member of the group that the file belongs to"
      : error == ENOENT
          ? ": the service runs on another machine or in another root, or the file was taken away"
          : "";
  context.console.complain(fmt::format("{} cannot be read ({}){}", escape_text(path.string()),
                                       std::generic_category().message(error), advice));
  return false;
}

}  // namespace

std::filesystem::path path_of(std::filesystem::path const& folder, diagnostic_report_info const& report) {
  return folder / fmt::format("station_{}", report.station_id) / (name_of(report.type) + "_reports") /
         fmt::format("{}_{}", report.diagnostic_id, report.diagnostic_name);
}

taken<std::filesystem::path> read_report_folder(command_context& context) {
  auto const given = take(context, "asking for the folder of the reports",
                          [&] { return context.service.get_diagnostics_folder_path(); });
  if (!given.value) {
    return {std::nullopt, given.code};
  }
  return find_in_service(context, *given.value);
}

taken<stored_report> find_report(command_context& context, std::uint32_t id) {
  auto reports = read_reports(context);
  if (!reports.value) {
    return {std::nullopt, reports.code};
  }
  auto code = exit_code::done;
  auto const found = find_target(context, {{id}, {}, false}, std::move(*reports.value), code);
  if (found.empty()) {
    return {std::nullopt, code};
  }
  auto const folder = read_report_folder(context);
  if (!folder.value) {
    return {std::nullopt, folder.code};
  }
  stored_report report{found.front(), path_of(*folder.value, found.front())};
  if (!is_readable(context, report.path)) {
    return {std::nullopt, exit_code::failed};
  }
  return {std::move(report), exit_code::done};
}

}  // namespace tavi::ctl
