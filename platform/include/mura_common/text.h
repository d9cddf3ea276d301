#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "mura_common/export.h"

namespace mura_common {

/// Whether `text` begins with `prefix`, byte for byte; an empty prefix always matches.
[[nodiscard]] MURA_COMMON_EXPORT bool startsWith(std::string_view text, std::string_view prefix);

/// The bytes as lower-case hexadecimal digits, two for each byte, without separators.
[[nodiscard]] MURA_COMMON_EXPORT std::string toHexString(std::span<std::uint8_t const> bytes);

/// A moment in local time as ISO 8601 basic form with its offset, such as "20261120T140509+0100".
///
/// The basic form has no colon, so it can stand in a file name unescaped.
/// @param seconds_since_epoch  seconds since 1970-01-01T00:00:00Z; may be negative
/// @return the text; empty when the moment lies outside what the C library can represent
[[nodiscard]] MURA_COMMON_EXPORT std::string to_local_iso8601(std::int64_t seconds_since_epoch);

/// Where a text stops being UTF-8: the offset of the first byte that belongs to no character.
/// @return empty when all of it is UTF-8
[[nodiscard]] MURA_COMMON_EXPORT std::optional<std::size_t> find_foreign_byte(std::string_view text);

/// Whether all of a text is UTF-8.
[[nodiscard]] inline bool is_utf8(std::string_view text) {
  return !find_foreign_byte(text);
}

/// Whether arrays and objects are nested deeper in a JSON text than so many levels: found out before a parser
/// builds, or recurses by, what a stranger sent. A text that is no JSON is judged by its brackets too.
[[nodiscard]] MURA_COMMON_EXPORT bool is_json_deeper_than(std::string_view json, std::size_t levels);

/// The word that was probably meant by one that nobody knows.
///
/// A letter too much, too few, another one or two that changed places make one difference each. One difference is
/// allowed for every three letters of the unknown word, and one at least.
/// @param known  what there is; the first of several that are equally near is taken
/// @return empty when no known word is near enough
[[nodiscard]] MURA_COMMON_EXPORT std::string find_nearest_word(std::string_view unknown,
                                                               std::vector<std::string> const& known);

/// What a program answers to a word of its command line that it does not know, with the nearest known one:
/// "--prot" is not known here: did you mean "--port"?
/// @param unknown  what follows a "=" in it is shown, but not compared
[[nodiscard]] MURA_COMMON_EXPORT std::string explain_unknown_word(std::string const& unknown,
                                                                  std::vector<std::string> const& known);

}  // namespace mura_common
