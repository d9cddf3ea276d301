#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace tavi::http {

/// What a location with a token says, as whoever asks wrote it.
struct token_target {
  std::string token;  ///< decoded, not empty; may be any bytes
  /// Decoded; empty when none was given. May be any bytes, "/" and ".." included: never used as a path.
  std::string name;
};

/// Reads the target of a request: "<prefix><token>", "<prefix><token>/" or "<prefix><token>/<file name>".
///
/// A query is left out. Everything after the "/" behind the token belongs to the name.
/// @param prefix  such as "/upload/"
/// @return empty when it begins otherwise, has no token or a broken percent escape
[[nodiscard]] std::optional<token_target> parse_token_target(std::string_view prefix,
                                                             std::string_view target);

}  // namespace tavi::http
