#pragma once

#include <cstddef>
#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

namespace mura_common {

/// A value of one of the two TOML types that a parameter can be made of.
using stored_value = std::variant<std::int64_t, std::string>;

/// One entry of a configuration text.
struct config_entry {
  std::optional<stored_value> value;  ///< absent when the entry is of a kind that no parameter is made of
  std::string kind;                   ///< what it is, in words fit for a log line: "integer", "table", ...
  std::string source;                 ///< as it stands in the text; empty for tables and arrays
  std::size_t offset = 0;             ///< of `source` in the text, in bytes
  std::size_t line = 0;               ///< of the text where it begins, from 1
};

/// Largest configuration text in bytes that is parsed.
inline constexpr std::size_t config_size_limit = 64 * 1024;

/// The entries of one configuration text. Immutable; does no input or output.
class config_document {
 public:
  /// Parses a text.
  /// @param error  where and why there is no document, in one line; unchanged otherwise
  /// @return the document; absent when the text is not TOML, is larger than `config_size_limit`, or is
  /// nested deeper than the parser can safely follow
  [[nodiscard]] static std::optional<config_document> parse(std::string_view text, std::string& error);

  /// Looks an entry up.
  /// @param key  names of tables and entry, joined by dots
  /// @return the entry, owned by the document; null when there is none, or only inside an array or under a
  /// name that itself holds a dot
  [[nodiscard]] config_entry const* find(std::string_view key) const;

  /// The names of what is directly in a table, sorted; empty when there is no such table.
  [[nodiscard]] std::vector<std::string> names_in(std::string_view table_key) const;

  /// The keys of all entries that are no tables, sorted; what is inside an array counts with the array.
  [[nodiscard]] std::vector<std::string> keys() const;

  /// Whether the other document has the same entries, written the same way, save the one under `key`, which
  /// both must have.
  [[nodiscard]] bool is_same_except_for(std::string_view key, config_document const& other) const;

 private:
  using entry_path = std::vector<std::string>;
  friend class entry_collector;

  std::map<entry_path, config_entry> entries;
};

}  // namespace mura_common
