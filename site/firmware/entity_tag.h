#pragma once

#include <string_view>

namespace tavi::site {

/// What the conditions of a request (RFC 9110, section 13) say about a file with a strong entity tag. Pure;
/// the fields may be any bytes, and what is malformed in them names no tag. The tag is given with its quotes.

/// Whether an If-Range field lets a Range field count: it holds this tag and nothing else.
///
/// A weak tag does not. A date does not either, because this server tells none.
[[nodiscard]] bool is_range_condition_met(std::string_view if_range, std::string_view tag);

/// Whether an If-Match field names the tag; "*" does, a weak tag does not.
/// @param field  the values of all such fields, joined by commas
[[nodiscard]] bool is_tag_matched(std::string_view field, std::string_view tag);

/// Whether an If-None-Match field names the tag; "*" does, and a weak tag of the same text too.
/// @param field  as for `is_tag_matched`
[[nodiscard]] bool is_tag_matched_weakly(std::string_view field, std::string_view tag);

}  // namespace tavi::site
