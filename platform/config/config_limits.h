#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "config/config_document.h"

namespace mura_common {

/// What a configuration admits for one number; a missing bound bounds nothing.
struct config_limits {
  std::optional<std::int64_t> min;
  std::optional<std::int64_t> max;

  /// Whether `value` lies between the bounds, both included.
  [[nodiscard]] bool is_met_by(std::int64_t value) const {
    return (!min || *min <= value) && (!max || value <= *max);
  }
};

/// Finds the limits that a document sets for a key. Does no input or output.
/// @param error  why there is no result, in one line; unchanged otherwise
/// @return the limits, without bounds when none are set; absent when what stands there is no table, holds
///         anything but `min` and `max`, one of them is no integer, or `min` is above `max`
[[nodiscard]] std::optional<config_limits> limits_of(config_document const& document, std::string const& key,
                                                     std::string& error);

}  // namespace mura_common
