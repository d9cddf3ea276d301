#pragma once

#include <chrono>
#include <optional>
#include <string>

#include "mura_common/config.h"

namespace tavi::stations_maintenance {

/// The configuration of the service as it stands at the start; an entry is absent when its key is missing or
/// has another type, which the provider then has logged.
struct configuration_values {
  /// Asks for every key, in the order of the members, even after one was missing.
  explicit configuration_values(mura_common::IConfigParameterProvider& config);

  /// Whether no key is missing.
  [[nodiscard]] bool is_complete() const;

  std::optional<mura_common::ConfigParameter<unsigned int>> max_periodic;         ///< reports of each station
  std::optional<mura_common::ConfigParameter<unsigned int>> max_manual;           ///< reports of each station
  std::optional<mura_common::ConfigParameter<std::chrono::seconds>> period;       ///< of automatic generation
  std::optional<mura_common::ConfigParameter<unsigned int>> max_total_size;       ///< bytes of all reports
  std::optional<mura_common::ConfigParameter<std::string>> report_directory;      ///< relative or absolute
  std::optional<mura_common::ConfigParameter<std::string>> zip_command;           ///< packs exported reports
  std::optional<mura_common::ConfigParameter<std::string>> zsh_command;           ///< the shell that runs it
  std::optional<mura_common::ConfigParameter<unsigned int>> max_firmware_stored;  ///< of all models
  std::optional<mura_common::ConfigParameter<unsigned int>> max_firmware_by_station;  ///< of each model
  std::optional<mura_common::ConfigParameter<std::string>> firmware_directory;  ///< relative or absolute
  std::optional<mura_common::ConfigParameter<std::chrono::seconds>>
      upload_timeout;  ///< of announced firmware
};

/// Puts a new period of automatic generation into force in the configuration and saves it.
/// @return false, with a line in the log, when the value is refused, which changes nothing, or cannot be
///         saved, which leaves it in force, to be saved with whatever is saved next
/// @throw std::bad_optional_access  when the configuration has lost the key
[[nodiscard]] bool store_generation_period(mura_common::IConfigParameterProvider& config,
                                           std::chrono::seconds const& period);

/// As `store_generation_period`, for the most periodic reports kept for each station.
[[nodiscard]] bool store_max_periodic_report(mura_common::IConfigParameterProvider& config,
                                             unsigned int const& max);

/// Says in the log which key keeps periodic generation from starting, with which value, and what to do.
void log_unusable_period(std::chrono::seconds const& period);

}  // namespace tavi::stations_maintenance
