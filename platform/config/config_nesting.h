#pragma once

#include <string_view>

namespace mura_common {

/// Whether a recursive parser can follow a TOML text without running out of stack or of integer range:
/// brackets at most 100 deep, keys of at most 100 parts, binary integers of at most 62 digits.
///
/// Looks at the text roughly, as it must be safe for texts that are not TOML at all.
[[nodiscard]] bool is_safe_to_parse(std::string_view text);

}  // namespace mura_common
