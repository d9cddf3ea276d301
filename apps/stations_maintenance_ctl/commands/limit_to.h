#pragma once

#include <cstdint>
#include <optional>
#include <vector>

namespace tavi::ctl {

/// Leaves out of a list what goes beyond a number; everything stays without one.
template <typename T>
void limit_to(std::vector<T>& values, std::optional<std::uint32_t> most) {
  if (most && *most < values.size()) {
    values.erase(values.begin() + *most, values.end());
  }
}

}  // namespace tavi::ctl
