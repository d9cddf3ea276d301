#pragma once

#include <cstddef>
#include <string>
#include <string_view>

#include "tavi/export.h"

namespace tavi {

/// Bytes that a file name keeps at most: a file system takes 255, and its keeper puts a number before it.
inline constexpr std::size_t file_name_limit = 200;

/// What may be used of a file name that somebody outside gave.
///
/// Pure and safe for any bytes, UTF-8 or not.
/// @param given  perhaps with folders before it, parted by "/" or "\"
/// @return its last component, shortened in the middle when it is longer than `file_name_limit`, so that
///         beginning and ending stay and no character is cut apart; empty when nothing is left, or what is
///         left is "." or ".." or holds a control character (below 0x20, or 0x7f)
[[nodiscard]] TAVI_SIBLINGS_EXPORT std::string harmless_file_name(std::string_view given);

}  // namespace tavi
