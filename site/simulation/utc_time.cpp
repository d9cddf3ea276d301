#include "simulation/utc_time.h"

#include <fmt/chrono.h>

namespace tavi::site::simulation {

std::string to_utc_extended(std::chrono::system_clock::time_point moment) {
  auto const second = std::chrono::floor<std::chrono::seconds>(moment);
  auto const rest = std::chrono::duration_cast<std::chrono::milliseconds>(moment - second);
  return fmt::format("{:%Y-%m-%dT%H:%M:%S}.{:03}Z", fmt::gmtime(std::chrono::system_clock::to_time_t(second)),
                     rest.count());
}

std::string to_utc_basic(std::chrono::system_clock::time_point moment) {
  auto const second = std::chrono::floor<std::chrono::seconds>(moment);
  return fmt::format("{:%Y%m%dT%H%M%SZ}", fmt::gmtime(std::chrono::system_clock::to_time_t(second)));
}

}  // namespace tavi::site::simulation
