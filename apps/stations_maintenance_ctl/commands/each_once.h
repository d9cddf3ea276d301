#pragma once

#include <algorithm>
#include <iterator>
#include <vector>

namespace tavi::ctl {

/// The values without those that stood there before, in their order. For the few that a command line names.
template <typename T>
[[nodiscard]] std::vector<T> each_once(std::vector<T> const& values) {
  std::vector<T> once;
  std::copy_if(values.begin(), values.end(), std::back_inserter(once),
               [&once](T const& value) { return std::find(once.begin(), once.end(), value) == once.end(); });
  return once;
}

}  // namespace tavi::ctl
