#include <fmt/format.h>

#include "commands/commands.h"
#include "commands/report_contents.h"
#include "commands/report_file.h"
#include "mura_common/file.h"
#include "text/plain_text.h"
#include "text/quantity_text.h"
#include "text/record_names.h"
#include "text/table.h"

namespace tavi::ctl {

namespace {

constexpr auto mode_of_copies = std::filesystem::perms{0640};

json document_of(stored_report const& report, report_contents const& contents) {
  auto document = json_of(report.record);
  document["path"] = report.path.string();
  document["files"] = nullptr;
  document["first_lines"] = nullptr;
  if (contents.files) {
    document["files"] = json::array();
    for (auto const& file : *contents.files) {
      document["files"].push_back({{"name", file.name}, {"size", file.size}});
    }
  }
  if (contents.first_lines) {
    document["first_lines"] = *contents.first_lines;
  }
  return document;
}

/// The files in a report: below titles for people, for programs each behind the name of its field.
std::string files_text(std::vector<archived_file> const& files, table_style const& style) {
  std::vector<table_column> columns = {{"SIZE", true}, {"FILE"}};
  if (!style.is_aligned) {
    columns.insert(columns.begin(), {"FIELD"});
  }
  table lines(columns);
  for (auto const& file : files) {
    std::vector<table_cell> cells = {{format_size(file.size), std::to_string(file.size)}, file.name};
    if (!style.is_aligned) {
      cells.insert(cells.begin(), std::string("file"));
    }
    lines.add(std::move(cells));
  }
  return lines.text(style);
}

std::string lines_text(std::vector<std::string> const& lines, table_style const& style) {
  std::string text;
  for (auto const& line : lines) {
    text += (style.is_aligned ? "  " : "line\t") + escape_text(line) + '\n';
  }
  return text;
}

std::string report_text(stored_report const& report, report_contents const& contents,
                        table_style const& style) {
  auto const& record = report.record;
  auto text = lay_out_record({{"id", std::to_string(record.diagnostic_id)},
                              {"station", std::to_string(record.station_id)},
                              {"name", record.diagnostic_name},
                              {"type", name_of(record.type)},
                              {"received", format_utc(record.timestamp_creation)},
                              {"size", {format_size(record.size), std::to_string(record.size)}},
                              {"path", report.path.string()}},
                             style);
  if (contents.files) {
    return text + files_text(*contents.files, style);
  }
  if (contents.first_lines) {
    return text + lines_text(*contents.first_lines, style);
  }
  return text;
}

/// The file that is to be made.
std::filesystem::path destination_of(stored_report const& report,
                                     std::optional<std::filesystem::path> const& given) {
  auto const name = std::filesystem::path(report.record.diagnostic_name).filename();
  std::error_code ignored;
  auto const place = !given ? name : std::filesystem::is_directory(*given, ignored) ? *given / name : *given;
  return std::filesystem::absolute(place).lexically_normal();
}

/// Copies a report to a place where nothing stands, whole or not at all.
bool copy_report(std::filesystem::path const& from, std::filesystem::path const& to, std::error_code& error) {
  if (!mura_common::copy_file_durably(from, to, error)) {
    return false;
  }
  // Where a file system knows no permissions, there are none to be set.
  std::error_code ignored;
  std::filesystem::permissions(to, mode_of_copies, ignored);
  return true;
}

/// As `copy_report`, in place of what stands there.
bool replace_by_report(std::filesystem::path const& from, std::filesystem::path const& to,
                       std::error_code& error) {
  auto const beside = to.parent_path() / ('.' + to.filename().string() + ".new");
  std::error_code ignored;
  std::filesystem::remove(beside, ignored);
  if (!copy_report(from, beside, error)) {
    return false;
  }
  std::filesystem::rename(beside, to, error);
  if (error) {
    std::filesystem::remove(beside, ignored);
    return false;
  }
  return mura_common::flush_folder(to.parent_path(), error);
}

}  // namespace

exit_code run_command(command_context& context, reports_show_options const& options) {
  auto const found = find_report(context, options.id);
  if (!found.value) {
    return found.code;
  }
  auto const contents = look_into(found.value->path);
  return show_text(context, report_text(*found.value, contents, context.console.style()),
                   document_of(*found.value, contents), exit_code::done);
}

exit_code run_command(command_context& context, reports_get_options const& options) {
  auto const found = find_report(context, options.id);
  if (!found.value) {
    return found.code;
  }
  auto const& from = found.value->path;
  auto const to = destination_of(*found.value, options.file);
  auto const name = escape_text(to.string());
  std::error_code error;
  auto const is_copied = options.force ? replace_by_report(from, to, error) : copy_report(from, to, error);
  if (!is_copied) {
    context.console.complain(error == std::errc::file_exists
                                 ? name + " exists: name another file, or say --force"
                                 : fmt::format("{} cannot be copied to {}: {}", escape_text(from.string()),
                                               name, error.message()));
    return exit_code::failed;
  }
  return show_text(context, fmt::format("report {} copied to {}\n", options.id, name),
                   {{"report", json_of(found.value->record)}, {"destination", to.string()}}, exit_code::done);
}

}  // namespace tavi::ctl
