#include <fmt/format.h>
#include <fmt/ranges.h>

#include "commands/commands.h"
#include "commands/deletion_question.h"
#include "commands/each_once.h"
#include "commands/limit_to.h"
#include "commands/service_paths.h"

namespace tavi::ctl {

namespace {

using stations_maintenance::delete_firmware_result;

/// What a deletion came to, in one line. @return empty when it succeeded
std::string explain_deletion(delete_firmware_result code, std::uint32_t id) {
  switch (code) {
    case delete_firmware_result::deleted:
      return {};
    case delete_firmware_result::unknown_firmware:
      return fmt::format("there is no firmware {}: \"firmware list\" shows those there are", id);
    case delete_firmware_result::row_not_deleted:
      return fmt::format(
          "the file of firmware {} is gone, but its record could not be deleted; the service's log "
          "says why",
          id);
    default:
      return fmt::format("firmware {} could not be deleted (code {}); the service's log says why", id,
                         static_cast<int>(code));
  }
}

/// Shows the first of what was found, with paths that can be opened.
exit_code show_first(command_context& context,
                     taken<std::vector<stations_maintenance::station_firmware_info>> listed,
                     std::optional<std::uint32_t> limit) {
  if (!listed.value) {
    return listed.code;
  }
  limit_to(*listed.value, limit);
  auto const code = make_paths_openable(context, *listed.value);
  return code == exit_code::done ? show(context, *listed.value, code) : code;
}

}  // namespace

exit_code run_command(command_context& context, firmware_list_options const& options) {
  auto listed = take_present(
      context, "listing the firmware", [&] { return context.service.get_firmwares(); },
      "the service cannot read its firmware; its log says why");
  return show_first(context, std::move(listed), options.limit);
}

exit_code run_command(command_context& context, firmware_show_options const& options) {
  auto found = take_present(
      context, fmt::format("showing firmware {}", options.id),
      [&] { return context.service.get_firmware(options.id); },
      explain_deletion(delete_firmware_result::unknown_firmware, options.id));
  if (!found.value) {
    return found.code;
  }
  std::vector one{std::move(*found.value)};
  auto const code = make_paths_openable(context, one);
  return code == exit_code::done ? show(context, one.front(), code) : code;
}

exit_code run_command(command_context& context, firmware_available_options const& options) {
  auto available = take_present(
      context, fmt::format("looking for firmware for station {}", options.station),
      [&] { return context.service.get_charging_station_firmware(options.station); },
      fmt::format("the service cannot say what fits station {}: the station is not known, or its vendor "
                  "and model are not among the supported ones (supported_stations.json)",
                  options.station));
  return show_first(context, std::move(available), options.limit);
}

exit_code run_command(command_context& context, firmware_delete_options const& options) {
  auto code = exit_code::done;
  auto const ids = each_once(options.ids);
  auto const is_asked = !options.yes && context.console.can_ask();
  auto const question = is_asked ? deletion_question(context, ids) : taken<std::string>{""};
  if (!question.value) {
    return question.code;
  }
  if (!confirm(context, *question.value, options.yes, false, code)) {
    return code;
  }
  std::vector<std::uint32_t> deleted;
  for (auto const id : ids) {
    auto const result = take(context, fmt::format("deleting firmware {}", id),
                             [&] { return context.service.delete_firmware(id); });
    if (!result.value) {
      code = result.code;
      break;
    }
    if (*result.value == delete_firmware_result::deleted) {
      deleted.push_back(id);
    } else {
      context.console.complain(explain_deletion(*result.value, id));
      code = exit_code::failed;
    }
  }
  auto const text = deleted.empty() ? std::string("no firmware deleted\n")
                                    : fmt::format("firmware {} deleted\n", fmt::join(deleted, ", "));
  return show_text(context, text, {{"deleted", deleted}}, code);
}

}  // namespace tavi::ctl
