#include "simulation/station_journal.h"

#include <algorithm>
#include <utility>

#include "utc_time.h"

namespace tavi::site::simulation {

station_journal::station_journal(std::filesystem::path path, std::uint64_t limit)
    : file(std::move(path)), most(limit), stream(file, std::ios::binary | std::ios::app) {
}

bool station_journal::is_open() const {
  return stream.is_open();
}

void station_journal::record(std::string_view kind, std::string_view text) {
  std::string line = to_utc_iso8601(std::chrono::system_clock::now());
  line.append(" ").append(kind).append(" ").append(text);
  auto const is_control = [](char c) { return static_cast<unsigned char>(c) < ' ' || c == 0x7f; };
  std::replace_if(line.begin(), line.end(), is_control, ' ');
  if (stream.tellp() > 0 && static_cast<std::uint64_t>(stream.tellp()) + line.size() > most) {
    stream.close();
    stream.open(file, std::ios::binary | std::ios::trunc);
  }
  // Flushed at once: the file is archived while the station writes to it.
  stream << line << '\n' << std::flush;
}

}  // namespace tavi::site::simulation
