#include <algorithm>

#include <fmt/format.h>

#include "text/quantity_text.h"
#include "upload/http_upload.h"

namespace tavi::ctl {

namespace {

constexpr std::size_t widest_bar = 26;
constexpr std::size_t narrowest_bar = 6;
/// Both ends of the bar and the blank behind it.
constexpr std::size_t bar_frame = 3;
constexpr std::uint64_t most_port = 65535;
constexpr std::chrono::milliseconds least_time_for_rate(500);
constexpr std::chrono::milliseconds pace(100);

bool is_plain(char letter) {
  return (letter >= 'a' && letter <= 'z') || (letter >= 'A' && letter <= 'Z') ||
         (letter >= '0' && letter <= '9') || letter == '-' || letter == '.' || letter == '_';
}

bool is_host(std::string_view text) {
  if (text.starts_with('[')) {
    return text.size() > 3 && text.ends_with(']') &&
           text.find_first_not_of("0123456789abcdefABCDEF:.", 1) == text.size() - 1;
  }
  return !text.empty() && std::all_of(text.begin(), text.end(), is_plain);
}

std::string rate_text(upload_state const& state) {
  auto const elapsed = state.elapsed.count();
  if (state.elapsed < least_time_for_rate) {
    return {};
  }
  auto const per_second = static_cast<double>(state.sent) * 1000 / static_cast<double>(elapsed);
  auto text = fmt::format("  {}/s", format_size(static_cast<std::uint64_t>(per_second)));
  if (per_second >= 1 && state.sent < state.total) {
    auto const left = static_cast<double>(state.total - state.sent) / per_second;
    text += fmt::format("  {} left", format_age(std::chrono::seconds(static_cast<std::int64_t>(left) + 1)));
  }
  return text;
}

}  // namespace

bool is_server_address(std::string_view text) {
  auto const colon = text.rfind(':');
  if (colon == std::string_view::npos || text.ends_with(']')) {
    return is_host(text);
  }
  auto const port = parse_number(text.substr(colon + 1), most_port);
  return is_host(text.substr(0, colon)) && port && *port > 0;
}

std::string make_upload_url(std::string const& address, std::string const& uri,
                            std::string const& file_name) {
  std::string escaped;
  for (auto const letter : file_name) {
    escaped += is_plain(letter) ? std::string(1, letter)
                                : fmt::format("%{:02X}", static_cast<unsigned char>(letter));
  }
  return "http://" + address + uri + "/" + escaped;
}

std::string explain_upload_status(long status) {
  switch (status) {
    case 404:
      return "the web server does not know the upload location: has it been restarted meanwhile? Try again";
    case 408:
      return "the upload was too slow for the web server: try again over a better connection";
    case 409:
      return "somebody else is using the upload location at this moment";
    case 410:
      return "the time to upload is over, or something was uploaded already: try again";
    case 411:
      return "the web server did not get the length of the file";
    case 413:
      return "the file is larger than the web server takes: raise its limit (uploads.max_file_size_mib)";
    case 507:
      return "the web server has no room for the file: free space on the controller, or raise "
             "uploads.max_spool_size_mib";
    default:
      return status >= 500 ? "the web server failed: its log says why" : "the web server refused the upload";
  }
}

std::string progress_line(upload_state const& state, std::size_t columns) {
  auto const part =
      state.total == 0 ? 1.0 : static_cast<double>(state.sent) / static_cast<double>(state.total);
  auto const figures = fmt::format("{:3}%  {} of {}{}", static_cast<int>(std::min(part, 1.0) * 100),
                                   format_size(state.sent), format_size(state.total), rate_text(state));
  auto const room = columns > figures.size() + bar_frame ? columns - figures.size() - bar_frame : 0;
  auto const width = std::min(room, widest_bar);
  if (width < narrowest_bar) {
    return figures;
  }
  auto const filled = std::min(static_cast<std::size_t>(part * static_cast<double>(width)), width);
  return fmt::format("[{}{}] {}", std::string(filled, '#'), std::string(width - filled, ' '), figures);
}

bool progress_pace::is_due(upload_state const& state) {
  auto const is_end = state.sent >= state.total;
  auto const is_time = !shown_at || state.elapsed - *shown_at >= pace;
  if (is_end ? is_end_shown : !is_time) {
    return false;
  }
  shown_at = state.elapsed;
  is_end_shown = is_end;
  return true;
}

}  // namespace tavi::ctl
