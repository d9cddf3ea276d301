#include "station_journal.h"

#include <algorithm>
#include <utility>

#include "date_time.h"

namespace tavi::simulator {
namespace {

constexpr std::size_t shown_of_token = 6;

/// The text with each path segment that follows this folder shortened: whoever reads a whole token may
/// transfer files in the station's name. In JSON a slash may stand with a backslash before it.
std::string shorten_tokens(std::string_view text, std::string_view folder) {
  std::string shortened;
  for (auto at = text.find(folder); at != std::string_view::npos; at = text.find(folder)) {
    auto begin = at + folder.size();
    begin += text.substr(begin).starts_with('\\') ? 1U : 0U;
    if (!text.substr(begin).starts_with('/')) {
      shortened += text.substr(0, begin);
      text.remove_prefix(begin);
      continue;
    }
    ++begin;
    auto const end = std::min(text.find_first_of("/\\\"?# \r\n\t", begin), text.size());
    auto const is_long = end - begin > shown_of_token;
    shortened += text.substr(0, is_long ? begin + shown_of_token : end);
    shortened += is_long ? "..." : "";
    text.remove_prefix(end);
  }
  return shortened.append(text);
}

}  // namespace

station_journal::station_journal(std::filesystem::path path, std::uint64_t limit)
    : file(std::move(path)), most(limit), stream(file, std::ios::binary | std::ios::app) {
}

bool station_journal::is_open() const {
  return stream.is_open();
}

void station_journal::record(std::string_view kind, std::string_view text) {
  std::string line = ocpp_wire::to_utc_iso8601(std::chrono::system_clock::now());
  line.append(" ").append(kind).append(" ").append(
      shorten_tokens(shorten_tokens(text, "/upload"), "/firmware"));
  auto const is_control = [](char c) { return static_cast<unsigned char>(c) < ' ' || c == 0x7f; };
  std::replace_if(line.begin(), line.end(), is_control, ' ');
  if (stream.tellp() > 0 && static_cast<std::uint64_t>(stream.tellp()) + line.size() > most) {
    stream.close();
    stream.open(file, std::ios::binary | std::ios::trunc);
  }
  // Flushed at once: the file is archived while the station writes to it.
  stream << line << '\n' << std::flush;
}

}  // namespace tavi::simulator
