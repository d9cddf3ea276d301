#pragma once

#include <chrono>

#include <nlohmann/json_fwd.hpp>

namespace tavi::simulator {

/// What the answer to a BootNotification means for the station.
struct boot_decision {
  bool is_accepted = false;  ///< false for Pending, Rejected and whatever is no answer
  std::chrono::seconds
      interval{};  ///< to the next Heartbeat when accepted, else to the next BootNotification
};

/// Reads the answer to a BootNotification. Pure.
/// @param payload             whatever was answered; null when nothing was
/// @param interval_of_station  taken where the answer gives none, or 0, which leaves it to the station
/// @return the decision; its interval is at most a day
[[nodiscard]] boot_decision read_boot_answer(nlohmann::json const& payload,
                                             std::chrono::seconds interval_of_station);

}  // namespace tavi::simulator
