#include "periodic_generation.h"

#include <cstdint>
#include <string>
#include <utility>

#include <fmt/format.h>
#include <spdlog/spdlog.h>

namespace tavi::stations_maintenance {

namespace {

std::chrono::milliseconds interval_of(std::chrono::seconds period) {
  // What the clock cannot tell is left to the timer to refuse; the multiplication must not overflow before.
  constexpr auto longest = std::chrono::duration_cast<std::chrono::seconds>(std::chrono::milliseconds::max());
  return period > longest ? std::chrono::milliseconds::max() : std::chrono::milliseconds(period);
}

}  // namespace

bool start_periodic_generation(mura_common::Timer& timer, std::chrono::seconds period,
                               tavi::logger::i_logger& operators, std::function<void()> run) {
  auto const tell = [&](std::string const& text) {
    operators.send_functional_log(tavi::logger::stations_maintenance_category,
                                  tavi::logger::log_subtype::diagnostic_periodic_generation, text);
  };
  if (period < std::chrono::seconds(1)) {
    spdlog::info("[diagnostic_manager] Periodic diagnsostic report generation deactivated");
    tell("Periodic diagnostic report generation has been stopped");
    return true;
  }
  auto const seconds = period.count();
  auto const whole_hours = seconds / 3600;
  auto const started = timer.start(interval_of(period), false, [run = std::move(run)] {
    spdlog::info("[diagnostic_manager] Generating period diagnostic reports");
    run();
  });
  if (!started) {
    tell(
        fmt::format("ERROR : Could not restart periodic diagnostc report generation for a period of {}s "
                    "(or {} h)",
                    seconds, whole_hours));
    spdlog::error("[diagnostic_manager] Could not restart priodic diagnostic report generation");
    return false;
  }
  tell(fmt::format("Changing period of generation of diagnostic. Period is now {}s (or {} h)", seconds,
                   whole_hours));
  spdlog::info(
      "[diagnostic_manager] Started periodic diagnostic report generation. "
      "Diagnostic will be generated each {}h({}s)",
      whole_hours, seconds);
  return true;
}

}  // namespace tavi::stations_maintenance
