#include "http_date.h"

#include <fmt/chrono.h>

namespace tavi::http {

std::string to_http_date(std::chrono::system_clock::time_point moment) {
  auto const whole = std::chrono::floor<std::chrono::seconds>(moment);
  return fmt::format("{:%a, %d %b %Y %H:%M:%S} GMT",
                     fmt::gmtime(std::chrono::system_clock::to_time_t(whole)));
}

}  // namespace tavi::http
