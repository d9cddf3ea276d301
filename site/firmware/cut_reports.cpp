#include "firmware/cut_reports.h"

#include <utility>

namespace tavi::site {

std::optional<std::size_t> cut_reports::add(std::string const& token, time_point now) {
  std::erase_if(records, [&](auto const& entry) { return now >= entry.second.last_cut + memory; });
  auto const [place, is_new] = records.try_emplace(token);
  auto& known = place->second;
  known.last_cut = now;
  ++known.untold;
  if (!is_new && now < known.last_line + interval) {
    return std::nullopt;
  }
  known.last_line = now;
  return std::exchange(known.untold, 0);
}

}  // namespace tavi::site
