#include "text/plain_text.h"

#include <algorithm>
#include <cstdint>

#include <fmt/format.h>

namespace tavi::ctl {

namespace {

/// One character of a text in UTF-8; `bytes` is 0 when its bytes are none.
struct character {
  std::uint32_t code = 0;
  std::size_t bytes = 0;
};

constexpr bool is_continuation(char byte) {
  return (static_cast<unsigned char>(byte) & 0xc0) == 0x80;
}

/// Longer forms than needed, surrogates and what lies beyond Unicode count as no character.
bool is_in_shortest_form(character const& one) {
  constexpr std::uint32_t least[] = {0, 0, 0x80, 0x800, 0x10000};
  return one.code >= least[one.bytes] && one.code <= 0x10ffff && (one.code < 0xd800 || one.code > 0xdfff);
}

character first_character(std::string_view text) {
  auto const lead = static_cast<unsigned char>(text.front());
  if (lead < 0x80) {
    return {lead, 1};
  }
  std::size_t const bytes = lead >= 0xf0 ? 4 : lead >= 0xe0 ? 3 : 2;
  if (lead < 0xc0 || lead >= 0xf8 || text.size() < bytes) {
    return {};
  }
  character one{static_cast<std::uint32_t>(lead & (0x7f >> bytes)), bytes};
  for (std::size_t at = 1; at < bytes; ++at) {
    if (!is_continuation(text[at])) {
      return {};
    }
    one.code = one.code << 6 | (static_cast<unsigned char>(text[at]) & 0x3f);
  }
  return is_in_shortest_form(one) ? one : character{};
}

/// Whether a terminal would do something else than show it.
bool is_acting(std::uint32_t code) {
  return code < 0x20 || (code >= 0x7f && code < 0xa0) || code == 0x61c ||
         (code >= 0x200b && code <= 0x200f) || (code >= 0x2028 && code <= 0x202e) ||
         (code >= 0x2060 && code <= 0x206f) || code == 0xfeff || (code >= 0xe0000 && code <= 0xe007f);
}

std::string visible_form(character const& one, char first_byte) {
  if (one.bytes <= 1) {
    return fmt::format("\\x{:02x}", static_cast<unsigned char>(first_byte));
  }
  return one.code > 0xffff ? fmt::format("\\U{:08x}", one.code) : fmt::format("\\u{:04x}", one.code);
}

}  // namespace

std::string escape_text(std::string_view text) {
  std::string result;
  while (!text.empty()) {
    auto const one = first_character(text);
    auto const taken = std::max<std::size_t>(one.bytes, 1);
    if (one.bytes == 0 || is_acting(one.code)) {
      result += visible_form(one, text.front());
    } else if (one.code == '\\') {
      result += "\\\\";
    } else {
      result += text.substr(0, taken);
    }
    text.remove_prefix(taken);
  }
  return result;
}

std::size_t width_of(std::string_view text) {
  return static_cast<std::size_t>(
      std::count_if(text.begin(), text.end(), [](char byte) { return !is_continuation(byte); }));
}

std::string wrap_text(std::string_view paragraph, std::size_t width) {
  std::string text;
  std::size_t column = 0;
  while (!paragraph.empty()) {
    auto const word = paragraph.substr(0, paragraph.find(' '));
    auto const columns = width_of(word);
    auto const is_first = text.empty();
    auto const is_fitting = column + 1 + columns <= width;
    text += is_first ? "" : is_fitting ? " " : "\n";
    column = is_first || !is_fitting ? columns : column + 1 + columns;
    text += word;
    paragraph.remove_prefix(std::min(word.size() + 1, paragraph.size()));
  }
  return text;
}

std::string_view fit_to_width(std::string_view text, std::size_t columns) {
  std::size_t end = 0;
  for (std::size_t taken = 0; end < text.size(); ++end) {
    if (!is_continuation(text[end]) && taken++ == columns) {
      break;
    }
  }
  return text.substr(0, end);
}

}  // namespace tavi::ctl
