#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "config/config_document.h"

namespace mura_common {

/// Writes a value as TOML: a decimal integer, or a basic string on one line with its escapes.
[[nodiscard]] std::string to_toml(stored_value const& value);

/// Replaces one value of a configuration text; every other byte stays. Does no input or output.
/// @param text   the text, which must be TOML
/// @param key    names of tables and entry, joined by dots
/// @param value  what the entry shall hold, of the type that it holds now
/// @param error  why there is no result, in one line; unchanged otherwise
/// @return the new text, the same one when the entry holds `value` already; absent when the text is not TOML,
///         it has no such entry or one of another type, `value` is text that is not UTF-8, or the result does
///         not read back as `value` under `key` with every other entry as it was
[[nodiscard]] std::optional<std::string> replace_config_value(std::string_view text, std::string_view key,
                                                              stored_value const& value, std::string& error);

}  // namespace mura_common
