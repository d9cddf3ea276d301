#pragma once

#include <optional>
#include <string_view>

#include "token_target.h"

namespace tavi::site {

/// Where an upload is sent to, as the uploader wrote it; the name is passed on and never used as a path.
using upload_target = http::token_target;

/// Reads the target of a request: "/upload/<token>", "/upload/<token>/" or "/upload/<token>/<file name>".
/// @return as `parse_token_target`
[[nodiscard]] std::optional<upload_target> parse_upload_target(std::string_view target);

}  // namespace tavi::site
