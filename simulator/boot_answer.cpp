#include "boot_answer.h"

#include <algorithm>
#include <cstdint>

#include <nlohmann/json.hpp>

namespace tavi::simulator {

boot_decision read_boot_answer(nlohmann::json const& payload, std::chrono::seconds interval_of_station) {
  boot_decision decision;
  decision.interval = interval_of_station;
  if (!payload.is_object()) {
    return decision;
  }
  auto const status = payload.find("status");
  decision.is_accepted = status != payload.end() && *status == "Accepted";
  auto const interval = payload.find("interval");
  if (interval != payload.end() && interval->is_number_unsigned() && interval->get<std::uint64_t>() > 0) {
    auto const a_day = std::uint64_t{24} * 60 * 60;
    decision.interval = std::chrono::seconds(std::min(interval->get<std::uint64_t>(), a_day));
  }
  return decision;
}

}  // namespace tavi::simulator
