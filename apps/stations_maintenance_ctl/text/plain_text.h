#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace tavi::ctl {

/// Makes a text from outside harmless to a terminal, for one line.
///
/// Control characters, what reverses the direction of writing, and bytes that are not UTF-8 become visible
/// ("\x1b", "\u202e"); a backslash is doubled, so that nothing else looks like them. Everything else stays.
[[nodiscard]] std::string escape_text(std::string_view text);

/// Columns that a text takes on a terminal: one for each character. @param text  as `escape_text` gives it
[[nodiscard]] std::size_t width_of(std::string_view text);

/// Breaks a paragraph between its words, so that no line takes more columns than `width`, unless a word
/// alone does.
[[nodiscard]] std::string wrap_text(std::string_view paragraph, std::size_t width);

/// As much of a text, from its beginning, as has room in so many columns. @param text  as for `width_of`
[[nodiscard]] std::string_view fit_to_width(std::string_view text, std::size_t columns);

}  // namespace tavi::ctl
