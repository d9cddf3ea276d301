#include <fmt/format.h>

#include "commands/commands.h"
#include "commands/each_once.h"
#include "commands/service_paths.h"
#include "commands/site_access.h"
#include "mura_common/hash.h"
#include "mura_common/text.h"
#include "text/plain_text.h"

namespace tavi::ctl {

namespace {

using stations_maintenance::delete_firmware_result;
using stations_maintenance::station_firmware_desc;
using stations_maintenance::station_firmware_info;
using stations_maintenance::station_firmware_status;
using stations_maintenance::store_firmware_result;

constexpr std::chrono::milliseconds intake_poll_interval(200);
/// The service counts the bytes of a firmware in 32 bits.
constexpr std::uintmax_t most_bytes = 0xFFFFFFFE;

/// A firmware that was announced, whose file has not been taken yet.
struct announcement {
  std::string uri;
  unsigned int id = 0;
};

std::string quoted(std::filesystem::path const& file) {
  return '"' + escape_text(file.string()) + '"';
}

/// The file's SHA-256 in hexadecimal. @return empty, with the reason told, when the file is nothing to upload
std::string check_file(command_context& context, std::filesystem::path const& file) {
  std::error_code error;
  auto const status = std::filesystem::status(file, error);
  if (status.type() == std::filesystem::file_type::none) {
    context.console.complain(quoted(file) + " cannot be looked at: " + error.message());
    return {};
  }
  if (!std::filesystem::is_regular_file(status)) {
    context.console.complain(quoted(file) +
                             (std::filesystem::exists(status) ? " is not a file" : " is not there"));
    return {};
  }
  auto const size = std::filesystem::file_size(file, error);
  if (error || size == 0 || size > most_bytes) {
    context.console.complain(quoted(file) + " is empty or too large: a firmware has 1 to 4294967294 bytes");
    return {};
  }
  auto const hash =
      mura_common::toHexString(mura_common::computeFileHash(mura_common::Sha2::Type::sha256, file));
  if (hash.empty()) {
    context.console.complain(quoted(file) + " cannot be read: may this user read it?");
  }
  return hash;
}

std::string explain_announcement(store_firmware_result code, station_firmware_desc const& desc) {
  switch (code) {
    case store_firmware_result::version_refused:
      return fmt::format(
          "version \"{}\" is stored already for one of the models: give another --version, or delete "
          "the stored firmware first",
          escape_text(desc.version.value_or("")));
    case store_firmware_result::limit_reached:
      return "the limit of stored firmware is reached, for the site or for one of the models: delete some, "
             "or raise max_firmware_stored or max_firmware_by_station in [firmware_storage] of the service's "
             "configuration file";
    case store_firmware_result::model_refused:
      return "one of the models is not among the supported ones (\"name\" in supported_stations.json)";
    default:
      return "the service could not take the firmware in; its log says why";
  }
}

taken<announcement> announce(command_context& context, firmware_add_options const& options) {
  station_firmware_desc const desc{options.version, each_once(options.models)};
  announcement made;
  auto const code = take(context, "announcing the firmware",
                         [&] { return context.service.store_firmware(desc, made.uri, made.id); });
  if (!code.value && has_no_answer(code.code)) {
    context.console.complain(
        "the firmware may be announced all the same: \"firmware list\" shows it then as pending_upload until "
        "the service's upload time-out, \"firmware delete\" takes it back");
  }
  if (!code.value) {
    return {std::nullopt, code.code};
  }
  if (*code.value != store_firmware_result::announced) {
    context.console.complain(explain_announcement(*code.value, desc));
    return {std::nullopt, exit_code::failed};
  }
  return {made, exit_code::done};
}

/// Ends the pending upload, so that nothing is left that waits for a file.
void take_back(command_context& context, announcement const& made) {
  if (context.service.delete_firmware(made.id).value != delete_firmware_result::deleted) {
    context.console.complain(
        fmt::format("firmware {} stays announced until the service's upload time-out", made.id));
  }
}

exit_code explain_upload(command_context& context, upload_outcome const& outcome,
                         std::string const& address) {
  auto const reason = escape_text(outcome.reason);
  switch (outcome.end) {
    case upload_end::answered:
      context.console.complain(fmt::format("the upload was refused with code {}: {}", outcome.status,
                                           explain_upload_status(outcome.status)));
      return exit_code::failed;
    case upload_end::no_file:
      context.console.complain("the file could not be read to its end: " + reason);
      return exit_code::failed;
    case upload_end::not_reachable:
      context.console.complain(fmt::format(
          "no web server at {}: {}. Is it running? --address names another one", address, reason));
      return exit_code::not_reachable;
    case upload_end::aborted:
      return code_of_interruption(context);
    case upload_end::broken:
      break;
  }
  context.console.complain(fmt::format("the upload to {} broke off: {}. Try again", address, reason));
  return exit_code::failed;
}

exit_code upload(command_context& context, firmware_add_options const& options, announcement const& made,
                 std::string const& address) {
  auto const url = make_upload_url(address, made.uri, options.file.filename().string());
  progress_pace pace;
  auto const observe = [&context, &pace](upload_state const& state) {
    if (pace.is_due(state)) {
      context.console.show_progress(progress_line(state, context.console.progress_columns()));
    }
    return !context.clock.is_interrupted();
  };
  auto const outcome = context.uploader.upload(options.file, url, observe);
  context.console.show_progress({});
  auto const is_taken = outcome.end == upload_end::answered && outcome.status >= 200 && outcome.status < 300;
  return is_taken ? exit_code::done : explain_upload(context, outcome, address);
}

bool is_decided(station_firmware_status status) {
  return status != station_firmware_status::pending_upload &&
         status != station_firmware_status::being_processed;
}

/// Tells that the uploaded file is in the service's hands, whatever it makes of it.
void leave_to_service(command_context& context, announcement const& made) {
  context.console.complain(
      fmt::format("firmware {} was uploaded; the service may still take it: \"firmware show {}\" tells what "
                  "becomes of it",
                  made.id, made.id));
}

/// Waits until the service has decided about the uploaded file.
taken<station_firmware_info> await_decision(command_context& context, announcement const& made,
                                            std::chrono::seconds time_out) {
  auto const deadline = context.clock.steady_now() + time_out;
  auto const what = fmt::format("asking about firmware {}", made.id);
  while (true) {
    auto firmware = take_present(
        context, what, [&] { return context.service.get_firmware(made.id); },
        fmt::format("firmware {} is gone: somebody deleted it", made.id));
    if (!firmware.value && has_no_answer(firmware.code)) {
      leave_to_service(context, made);
    }
    if (!firmware.value || is_decided(firmware.value->status)) {
      return firmware;
    }
    if (context.clock.steady_now() >= deadline) {
      context.console.complain(
          fmt::format("the service has not taken the uploaded file within {} s", time_out.count()));
      leave_to_service(context, made);
      return {std::nullopt, exit_code::time_out};
    }
    context.console.show_progress("uploaded; waiting for the service to take the file");
    if (context.clock.wait(intake_poll_interval)) {
      leave_to_service(context, made);
      return {std::nullopt, code_of_interruption(context)};
    }
  }
}

/// Says what became of the firmware, when that is not what was wanted.
exit_code judge(command_context& context, station_firmware_info const& firmware, std::string const& hash) {
  switch (firmware.status) {
    case station_firmware_status::available:
      if (firmware.hash == hash) {
        return exit_code::done;
      }
      context.console.complain(
          fmt::format("what the service stored is not what was uploaded: the file's SHA-256 is {}. "
                      "Delete firmware {} and try again",
                      hash, firmware.id));
      return exit_code::failed;
    case station_firmware_status::without_version:
      context.console.complain(
          fmt::format("firmware {} was uploaded, but is offered to no station, because it has no "
                      "version: add it again with --version",
                      firmware.id));
      return exit_code::failed;
    default:
      context.console.complain(
          fmt::format("firmware {} was uploaded, but the service could not store it; its log says "
                      "why",
                      firmware.id));
      return exit_code::failed;
  }
}

}  // namespace

exit_code run_command(command_context& context, firmware_add_options const& options) {
  auto const hash = check_file(context, options.file);
  if (hash.empty()) {
    return exit_code::failed;
  }
  auto const address =
      options.address ? taken<std::string>{options.address, exit_code::done} : read_upload_address(context);
  if (!address.value) {
    return address.code;
  }
  context.clock.take_over_interruption(notice_of_ordered_end);
  auto const made = announce(context, options);
  if (!made.value) {
    return code_of_end(context, made.code);
  }
  auto const uploaded = context.clock.is_interrupted()
                            ? code_of_interruption(context)
                            : upload(context, options, *made.value, *address.value);
  if (uploaded != exit_code::done) {
    take_back(context, *made.value);
    return code_of_end(context, uploaded);
  }
  auto firmware = await_decision(context, *made.value, options.time_out);
  if (!firmware.value) {
    return code_of_end(context, firmware.code);
  }
  std::vector one{std::move(*firmware.value)};
  auto const code = make_paths_openable(context, one);
  return code == exit_code::done ? show(context, one.front(), judge(context, one.front(), hash)) : code;
}

}  // namespace tavi::ctl
