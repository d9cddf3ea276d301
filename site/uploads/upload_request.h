#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "http_answer.h"
#include "http_exchange.h"
#include "uploads/upload_options.h"
#include "uploads/upload_target.h"

namespace tavi::site {

/// What the header of an upload says about its body.
struct announced_body {
  std::optional<std::uint64_t> bytes;   ///< empty when it comes in chunks
  std::optional<std::string> boundary;  ///< of a multipart body; empty when the body is the file itself
  bool is_awaiting_continue = false;    ///< the uploader holds the body back until it is asked for it
};

/// What was found out from a header: either of the two.
template <typename found_type>
struct header_finding {
  std::optional<found_type> found;  ///< empty when refused
  http::http_answer refusal;        ///< when nothing was found
};

/// Reads where an upload goes to: 400 for a malformed target, 405 for a method other than PUT and POST.
[[nodiscard]] header_finding<upload_target> find_upload_target(http::request_header const& header);

/// Reads what body is announced: 400 for multipart without a boundary, 411 without a length, 413 over the
/// limit, 417 for an expectation nobody here can meet, 501 for a coding other than chunked.
/// @param declared  the length as the header declares it
[[nodiscard]] header_finding<announced_body> find_announced_body(http::request_header const& header,
                                                                 std::optional<std::uint64_t> declared,
                                                                 upload_limits const& limits);

}  // namespace tavi::site
