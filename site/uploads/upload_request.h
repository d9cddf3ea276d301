#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <variant>

#include "http_answer.h"
#include "http_exchange.h"
#include "uploads/upload_options.h"

namespace tavi::site::uploads {

/// What the header of an upload says about its body.
struct announced_body {
  std::optional<std::uint64_t> bytes;   ///< empty when it comes in chunks
  std::optional<std::string> boundary;  ///< of a multipart body; empty when the body is the file itself
  bool is_awaiting_continue = false;    ///< the uploader holds the body back until it is asked for it
};

/// Reads what body is announced: 400 for multipart without a boundary, 411 without a length, 413 over the
/// limit, 417 for an expectation nobody here can meet, 501 for a coding other than chunked.
/// @param declared  the length as the header declares it
[[nodiscard]] std::variant<announced_body, http::http_answer> find_announced_body(
    http::request_header const& header, std::optional<std::uint64_t> declared, upload_limits const& limits);

}  // namespace tavi::site::uploads
