#include "config/config_edit.h"

#include <array>

namespace mura_common {
namespace {

std::string escaped(char symbol) {
  switch (symbol) {
    case '"':
      return "\\\"";
    case '\\':
      return "\\\\";
    case '\b':
      return "\\b";
    case '\t':
      return "\\t";
    case '\n':
      return "\\n";
    case '\f':
      return "\\f";
    case '\r':
      return "\\r";
    default:
      break;
  }
  auto const code = static_cast<unsigned char>(symbol);
  if (code >= 0x20U && code != 0x7FU) {
    return {symbol};
  }
  constexpr std::string_view digits = "0123456789ABCDEF";
  return {'\\', 'u', '0', '0', digits[code >> 4U], digits[code & 0x0FU]};
}

/// Whether the bytes that are about to go are one value, and the one that the entry is believed to hold.
bool is_whole_value(config_entry const& entry) {
  std::string ignored;
  auto const alone = config_document::parse("value = " + entry.source + "\n", ignored);
  auto const* const found = alone ? alone->find("value") : nullptr;
  return found != nullptr && found->value == entry.value && found->source == entry.source;
}

}  // namespace

std::string to_toml(stored_value const& value) {
  if (auto const* const integer = std::get_if<std::int64_t>(&value)) {
    return std::to_string(*integer);
  }
  std::string text = "\"";
  for (char const symbol : std::get<std::string>(value)) {
    text += escaped(symbol);
  }
  return text + '"';
}

std::optional<std::string> replace_config_value(std::string_view text, std::string_view key,
                                                stored_value const& value, std::string& error) {
  auto const before = config_document::parse(text, error);
  if (!before) {
    return std::nullopt;
  }
  auto const* const entry = before->find(key);
  if (entry == nullptr) {
    error = "there is no '" + std::string(key) + "'";
    return std::nullopt;
  }
  if (!entry->value || entry->value->index() != value.index()) {
    error = "'" + std::string(key) + "' is of another type (" + entry->kind + ")";
    return std::nullopt;
  }
  if (entry->value == value) {
    return std::string(text);
  }
  if (!is_whole_value(*entry)) {
    error = "the place of '" + std::string(key) + "' is not certain";
    return std::nullopt;
  }

  std::string changed(text);
  changed.replace(entry->offset, entry->source.size(), to_toml(value));
  std::string refusal = "other entries would change";
  auto const after = config_document::parse(changed, refusal);
  auto const* const replaced = after ? after->find(key) : nullptr;
  if (replaced == nullptr || replaced->value != value || !before->is_same_except_for(key, *after)) {
    error = "'" + std::string(key) + "' cannot be written: " + refusal;
    return std::nullopt;
  }
  return changed;
}

}  // namespace mura_common
