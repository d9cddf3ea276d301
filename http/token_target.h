#pragma once

#include <string>
#include <string_view>
#include <variant>
#include <vector>

#include <boost/beast/http/verb.hpp>

#include "http_answer.h"
#include "http_exchange.h"

namespace tavi::http {

/// What a location with a token says, as whoever asks wrote it.
struct token_target {
  std::string token;  ///< decoded, not empty; may be any bytes
  /// Decoded; empty when none was given. May be any bytes, "/" and ".." included: never used as a path.
  std::string file_name;
};

/// What may be asked of locations that begin alike.
struct token_location {
  std::string_view prefix;                        ///< such as "/upload/"
  std::string_view what;                          ///< such as "upload"; begins the answer to a malformed one
  std::vector<boost::beast::http::verb> methods;  ///< with which one may ask
  std::string_view usage;                         ///< the answer to other methods
};

/// Reads the target of a request: "<prefix><token>", "<prefix><token>/" or "<prefix><token>/<file name>".
///
/// A query is left out. Everything after the "/" behind the token belongs to the name.
/// @return else the answer: 400 when it begins otherwise, has no token or a broken percent escape, 405 for a
///         method that is none of the location's
[[nodiscard]] std::variant<token_target, http_answer> find_token_target(request_header const& header,
                                                                        token_location const& location);

}  // namespace tavi::http
