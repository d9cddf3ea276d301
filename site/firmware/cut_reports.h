#pragma once

#include <chrono>
#include <cstddef>
#include <optional>
#include <string>
#include <unordered_map>

namespace tavi::site {

/// Decides when the log is told of deliveries that were cut off, so that one token cannot fill it.
///
/// The first one with a token is told at once, further ones together and no more often than the interval
/// allows; what comes after the last line is not told. A token with which nothing was cut off for an hour is
/// forgotten. Not synchronised: belongs to the event loop.
class cut_reports {
 public:
  /// A moment on the clock that is never set.
  using time_point = std::chrono::steady_clock::time_point;

  /// Counts one that was cut off.
  /// @return how many were, this one included, since the last line with this token; empty when it is too
  ///         early for another line
  [[nodiscard]] std::optional<std::size_t> add(std::string const& token, time_point now);

  /// Between two lines with one token.
  static constexpr std::chrono::minutes interval{1};
  /// For which a token is kept in mind.
  static constexpr std::chrono::hours memory{1};

 private:
  struct record {
    time_point last_cut;
    time_point last_line;
    std::size_t untold = 0;
  };

  std::unordered_map<std::string, record> records;
};

}  // namespace tavi::site
