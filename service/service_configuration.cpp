#include "service_configuration.h"

#include <spdlog/spdlog.h>

namespace tavi::stations_maintenance {

namespace {

constexpr char const* max_periodic_key = "diagnostic_report.max_periodic_report_per_station";
constexpr char const* period_key = "diagnostic_report.period_for_automatic_generation";

/// A parameter that may change while the service runs, and what is logged when it cannot.
struct changeable_parameter {
  char const* key;
  char const* refused;
  char const* not_saved;
  bool is_written_back;
};

template <typename T>
bool store(mura_common::IConfigParameterProvider& config, changeable_parameter const& what, T const& value) {
  auto parameter = config.getParam<T>(what.key).value();
  if (!parameter.check(value)) {
    spdlog::error("{}", what.refused);
    return false;
  }
  parameter.set(value);
  if (config.save()) {
    return true;
  }
  // Nobody kept the previous value: what is restored is the new one, which so stays in force while the file
  // has the previous one.
  auto const in_force = parameter.value();
  if (parameter.check(in_force) && what.is_written_back) {
    parameter.set(in_force);
  }
  spdlog::error("{}", what.not_saved);
  return false;
}

}  // namespace

configuration_values::configuration_values(mura_common::IConfigParameterProvider& config)
    : max_periodic(config.getParam<unsigned int>(max_periodic_key)),
      max_manual(config.getParam<unsigned int>("diagnostic_report.max_manual_report_per_station")),
      period(config.getParam<std::chrono::seconds>(period_key)),
      max_total_size(config.getParam<unsigned int>("diagnostic_report.max_total_directory_size")),
      report_directory(config.getParam<std::string>("diagnostic_report.diagnostic_report_storage_directory")),
      zip_command(config.getParam<std::string>("diagnostic_report.zip_command")),
      zsh_command(config.getParam<std::string>("diagnostic_report.zsh_command")),
      max_firmware_stored(config.getParam<unsigned int>("firmware_storage.max_firmware_stored")),
      max_firmware_by_station(config.getParam<unsigned int>("firmware_storage.max_firmware_by_station")),
      firmware_directory(config.getParam<std::string>("firmware_storage.storage_path")),
      upload_timeout(config.getParam<std::chrono::seconds>("firmware_storage.upload_timeout")) {
}

bool configuration_values::is_complete() const {
  return max_periodic && max_manual && period && max_total_size && report_directory && zip_command &&
         zsh_command && max_firmware_stored && max_firmware_by_station && firmware_directory &&
         upload_timeout;
}

bool store_generation_period(mura_common::IConfigParameterProvider& config,
                             std::chrono::seconds const& period) {
  return store(config,
               {.key = period_key,
                .refused = "[station maintenance service] Error setting the new diagnostic generation period",
                .not_saved = "[station maintenance service] Error saving the new diagnostic generation "
                             "period, restoring previous one",
                .is_written_back = false},
               period);
}

bool store_max_periodic_report(mura_common::IConfigParameterProvider& config, unsigned int const& max) {
  return store(config,
               {.key = max_periodic_key,
                .refused = "[station maintenance service] Error setting the new maximum number of periodic "
                           "report",
                .not_saved = "[station maintenance service] Error saving the new maximum number of periodic "
                             "report, restoring the previous one",
                .is_written_back = true},
               max);
}

void log_unusable_period(std::chrono::seconds const& period) {
  spdlog::error(
      "[station maintenance service] '{}' is {}, a period in seconds that no timer can count: set it to 0 for "
      "no periodic generation, or to at most 31536000 (a year), in stations_maintenance_service.toml, and "
      "start again",
      period_key, period.count());
}

}  // namespace tavi::stations_maintenance
