#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>

namespace tavi::http {

/// The text without what stands of `blanks` before and behind it.
[[nodiscard]] std::string_view trim(std::string_view text, std::string_view blanks = " \t");

/// Replaces every %XX by the byte it stands for; everything else stays, "+" included.
/// @return empty when a "%" is not followed by two hexadecimal digits
[[nodiscard]] std::optional<std::string> percent_decode(std::string_view text);

/// The text with all but letters, digits and "-._~" written as %XX, so that it can stand as one path segment.
[[nodiscard]] std::string percent_encode(std::string_view text);

/// A text of a stranger as it may stand in a log line: printable ASCII stays, other bytes and backslashes
/// become \xNN, and what goes beyond the limit is replaced by "...".
/// @param limit  bytes of `text` that are shown at most
[[nodiscard]] std::string escape_for_log(std::string_view text, std::size_t limit = 100);

/// A token as it may stand in a log line: no more than its first six characters, then "...".
[[nodiscard]] std::string shorten_token(std::string_view token);

}  // namespace tavi::http
