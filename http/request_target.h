#pragma once

#include <string>
#include <string_view>

#include "http_exchange.h"

namespace tavi::http {

/// The target of a request as routes know it: of "http://host/path?query" what follows the host, "/" when
/// nothing does; every other target as it is. Pure, any bytes.
[[nodiscard]] std::string to_origin_form(std::string_view target);

/// Whether a request names its host as HTTP wants it: once, and HTTP/1.0 may leave it out. Whichever host it
/// is does not matter, because the site is known under several.
[[nodiscard]] bool has_proper_host(request_header const& header);

}  // namespace tavi::http
