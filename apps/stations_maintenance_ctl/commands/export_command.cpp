#include <fmt/format.h>

#include "commands/commands.h"
#include "commands/report_target.h"
#include "commands/zip_archive.h"
#include "text/plain_text.h"

namespace tavi::ctl {

namespace {

using stations_maintenance::diagnostic_report_filter;

/// The service packs as many reports at once, and calls an export successful when one such batch was: with
/// one batch in a request its answer is about every batch.
constexpr std::size_t reports_per_request = 50;

/// Whether the archive may be written to its place; tells why not.
bool is_free(command_context& context, std::filesystem::path const& archive, bool may_exist) {
  std::error_code error;
  auto const status = std::filesystem::status(archive, error);
  auto const name = escape_text(archive.string());
  if (status.type() == std::filesystem::file_type::none && !may_exist) {
    context.console.complain(fmt::format(
        "cannot see whether {} exists ({}): say --append, or choose another place", name, error.message()));
    return false;
  }
  if (std::filesystem::is_regular_file(status) && !may_exist) {
    context.console.complain(name + " exists: --append adds the reports to it");
    return false;
  }
  if (std::filesystem::exists(status) && !std::filesystem::is_regular_file(status)) {
    context.console.complain(name + " is no file");
    return false;
  }
  return true;
}

/// Files in the archive before anything is exported to it. @return empty when that cannot be known
std::optional<std::uint32_t> count_before(std::filesystem::path const& archive) {
  std::error_code ignored;
  auto const is_absent =
      std::filesystem::status(archive, ignored).type() == std::filesystem::file_type::not_found;
  return is_absent ? 0 : count_archived_files(archive);
}

/// What came of the requests of one export.
struct requested_export {
  std::size_t answered = 0;          ///< reports in requests that were answered
  std::size_t refused = 0;           ///< of these, reports that the service could not pack
  exit_code code = exit_code::done;  ///< otherwise when a request got no answer, which has been told, or
                                     ///< when the user wanted to end
};

requested_export request_export(command_context& context, reports_export_options const& options,
                                std::filesystem::path const& archive,
                                std::vector<diagnostic_report_info> const& reports) {
  requested_export done;
  auto const send = [&](diagnostic_report_filter const& filter, std::string const& what) {
    auto const is_failed = take(
        context, what,
        [&] { return context.service.export_diagnostic_reports(filter, archive.string(), options.time_out); },
        options.time_out);
    if (is_failed.value) {
      done.answered += filter.diagnostic_ids.size();
      done.refused += *is_failed.value ? filter.diagnostic_ids.size() : 0;
    }
    return is_failed.code;
  };
  done.code = send_in_portions(context, "exporting", reports, reports_per_request, send);
  return done;
}

/// How many of the reports the archive has gained. @return empty when counting its files does not tell: it
/// cannot be read, or it may have held some of the reports before, which are packed anew then
std::optional<std::size_t> count_packed(std::optional<std::uint32_t> before,
                                        std::filesystem::path const& archive, std::size_t wanted) {
  auto const after = count_archived_files(archive);
  if (!before || !after || *after < *before || *after - *before > wanted) {
    return std::nullopt;
  }
  auto const gained = *after - *before;
  return *before == 0 || gained == wanted ? std::optional<std::size_t>(gained) : std::nullopt;
}

std::string number_text(std::size_t reports) {
  return fmt::format("{} report{}", reports, reports == 1 ? "" : "s");
}

/// Tells of reports that are not in the archive. @return how the command ends
exit_code judge(command_context& context, requested_export const& requested,
                std::optional<std::size_t> packed, std::string const& archive, exit_code code) {
  if (requested.refused != 0) {
    context.console.complain(
        fmt::format("the service could not pack {} of {} into {}: may it write there, is there room, are the "
                    "reports' files still there? Its log says what was wrong",
                    requested.refused, number_text(requested.answered), archive));
    code = exit_code::failed;
  }
  if (packed && *packed + requested.refused < requested.answered) {
    context.console.complain(
        fmt::format("not in {}: {}; the service's log names those whose files it could not pack", archive,
                    number_text(requested.answered - requested.refused - *packed)));
    code = exit_code::failed;
  }
  return code;
}

std::string outcome_text(std::vector<diagnostic_report_info> const& chosen, requested_export const& requested,
                         std::optional<std::size_t> packed, std::string const& archive) {
  auto const all = count_text(chosen);
  if (!packed) {
    return fmt::format(
        "up to {} of {} exported to {}; the service's log names those whose files it could not pack\n",
        requested.answered - requested.refused, all, archive);
  }
  return *packed == chosen.size() ? fmt::format("{} exported to {}\n", all, archive)
                                  : fmt::format("{} of {} exported to {}\n", *packed, all, archive);
}

}  // namespace

exit_code run_command(command_context& context, reports_export_options const& options) {
  auto code = exit_code::done;
  // The service writes the archive, and its current folder is another.
  auto const archive = std::filesystem::absolute(options.destination).lexically_normal();
  if (!is_free(context, archive, options.append)) {
    return exit_code::failed;
  }
  auto reports = read_reports(context);
  if (!reports.value) {
    return reports.code;
  }
  auto const chosen = find_target(context, options.target, std::move(*reports.value), code);
  if (chosen.empty()) {
    context.console.complain("there is no such report, so no archive was written");
    return exit_code::failed;
  }
  auto const before = count_before(archive);
  auto const requested = request_export(context, options, archive, chosen);
  auto const is_ended = context.clock.is_interrupted() && requested.code == code_of_interruption(context);
  auto const is_answered = requested.code == exit_code::done || is_ended;
  auto const is_written = is_answered && requested.refused < requested.answered;
  auto const packed = is_written ? count_packed(before, archive, chosen.size()) : std::nullopt;
  auto const name = escape_text(archive.string());
  code = judge(context, requested, packed, name, code);
  if (is_ended) {
    code = requested.code;
    context.console.complain(fmt::format("ended before the last {} of {} were exported",
                                         chosen.size() - requested.answered, number_text(chosen.size())));
  }
  if (!is_written) {
    return is_answered ? code : requested.code;
  }
  return show_text(context, outcome_text(chosen, requested, packed, name),
                   {{"destination", archive.string()},
                    {"chosen", json_of(chosen)},
                    {"packed", packed ? json(*packed) : json(nullptr)}},
                   code);
}

}  // namespace tavi::ctl
