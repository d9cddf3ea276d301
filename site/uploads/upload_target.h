#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace tavi::site {

/// Where an upload is sent to, as the uploader wrote it.
struct upload_target {
  std::string token;  ///< decoded, not empty; may be any bytes
  /// Decoded; empty when none was given. May be any bytes, "/" and ".." included: it is passed on and never
  /// used as a path.
  std::string name;
};

/// Reads the target of a request: "/upload/<token>", "/upload/<token>/" or "/upload/<token>/<file name>".
///
/// A query is left out. Everything after the "/" behind the token belongs to the name.
/// @return empty when it begins otherwise, has no token or a broken percent escape
[[nodiscard]] std::optional<upload_target> parse_upload_target(std::string_view target);

}  // namespace tavi::site
