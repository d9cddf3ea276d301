#include "config/config_document.h"

#include <algorithm>
#include <charconv>
#include <exception>
#include <sstream>
#include <system_error>
#include <utility>

#include <fmt/format.h>

#include "config/config_nesting.h"
#include "config/toml_versions.h"
#include "mura_common/text.h"

namespace mura_common {
namespace {

/// The parser saturates at the ends of its integer type, so what was written is read once more here.
std::optional<std::int64_t> integer_of(std::string source) {
  std::erase(source, '_');
  std::string_view digits = source;
  int base = 10;
  if (digits.starts_with("0x")) {
    base = 16;
  } else if (digits.starts_with("0o")) {
    base = 8;
  } else if (digits.starts_with("0b")) {
    base = 2;
  }
  digits.remove_prefix(base != 10 ? 2 : digits.starts_with('+') ? 1 : 0);
  std::int64_t value = 0;
  auto const [end, error] = std::from_chars(digits.data(), digits.data() + digits.size(), value, base);
  if (error != std::errc() || end != digits.data() + digits.size()) {
    return std::nullopt;
  }
  return value;
}

std::vector<std::string> parts_of(std::string_view key) {
  std::vector<std::string> parts;
  for (std::size_t begin = 0; begin <= key.size();) {
    auto const end = std::min(key.find('.', begin), key.size());
    parts.emplace_back(key.substr(begin, end - begin));
    begin = end + 1;
  }
  return parts;
}

/// A name that no key can hold, because it contains the separator.
std::string name_of_element(std::size_t index) {
  return "." + std::to_string(index);
}

bool is_name_of_element(std::string const& name) {
  return name.starts_with('.');
}

std::string kind_of(toml::value_t type) {
  switch (type) {
    case toml::value_t::boolean:
      return "boolean";
    case toml::value_t::integer:
      return "integer";
    case toml::value_t::floating:
      return "floating-point number";
    case toml::value_t::string:
      return "string";
    case toml::value_t::array:
      return "array";
    case toml::value_t::table:
      return "table";
    default:
      return "date or time";
  }
}

/// The parser explains itself over several lines; the log gets the first one, without its own names.
std::string first_line_of(std::string_view explanation) {
  explanation = explanation.substr(0, explanation.find('\n'));
  for (std::string_view const prefix : {"[error] ", "toml::"}) {
    if (explanation.starts_with(prefix)) {
      explanation.remove_prefix(prefix.size());
    }
  }
  return std::string(explanation);
}

std::optional<toml_value> tree_of(std::string_view text, std::string& error) {
  if (text.size() > config_size_limit) {
    error = "it has " + std::to_string(text.size()) + " bytes, expected at most " +
            std::to_string(config_size_limit);
    return std::nullopt;
  }
  // TOML demands UTF-8; looked for in advance, because the parser goes astray over other bytes in literal
  // strings.
  if (auto const offset = find_foreign_byte(text)) {
    auto const line = 1 + std::count(text.begin(), text.begin() + static_cast<std::ptrdiff_t>(*offset), '\n');
    error = "line " + std::to_string(line) + ": not UTF-8 here, expected nothing else";
    return std::nullopt;
  }
  if (!is_safe_to_parse(text)) {
    error = "it is nested too deeply, or a binary integer in it is too long";
    return std::nullopt;
  }
  std::istringstream stream{std::string(text)};
  // The parser looks one character beyond a last carriage return.
  if (text.ends_with('\r')) {
    stream.str(std::string(text) + '\n');
  }
  try {
    return parse_toml(stream);
  } catch (toml::exception const& refusal) {
    auto const place = place_of(refusal);
    error = (place ? fmt::format("line {}, column {}: ", line_of(*place), column_of(*place)) : "") +
            first_line_of(refusal.what());
  } catch (std::exception const& refusal) {
    error = first_line_of(refusal.what());
  }
  return std::nullopt;
}

}  // namespace

/// Lists the entries of a parsed tree with their places in the text.
class entry_collector {
 public:
  entry_collector(std::string_view whole_text, config_document& target) : text(whole_text), document(target) {
    line_begins.push_back(0);
    for (std::size_t at = 0; at < text.size(); ++at) {
      if (text[at] == '\n') {
        line_begins.push_back(at + 1);
      }
    }
  }

  void collect_table(toml_value::table_type const& table) {
    for (auto const& [name, value] : table) {
      path.push_back(name);
      collect(value);
      path.pop_back();
    }
  }

 private:
  void collect(toml_value const& value) {
    config_entry entry;
    entry.kind = kind_of(value.type());
    if (value.is_table()) {
      collect_table(value.as_table());
    } else if (value.is_array()) {
      for (std::size_t index = 0; index < value.as_array().size(); ++index) {
        path.push_back(name_of_element(index));
        collect(value.as_array()[index]);
        path.pop_back();
      }
    } else {
      locate(value.location(), entry);
    }
    if (value.is_string()) {
      entry.value = text_of(value);
    } else if (value.is_integer()) {
      if (auto const integer = integer_of(entry.source)) {
        entry.value = *integer;
      } else {
        entry.kind = "integer beyond 64 bits";
      }
    }
    document.entries.insert_or_assign(path, std::move(entry));
  }

  void locate(toml::source_location const& place, config_entry& entry) const {
    entry.line = line_of(place);
    if (entry.line < 1 || entry.line > line_begins.size()) {
      return;
    }
    entry.offset = std::min<std::size_t>(line_begins[entry.line - 1] + column_of(place) - 1, text.size());
    entry.source = text.substr(entry.offset, length_of(place));
  }

  std::string_view text;
  config_document& document;
  std::vector<std::size_t> line_begins;
  config_document::entry_path path;
};

std::optional<config_document> config_document::parse(std::string_view text, std::string& error) {
  auto const tree = tree_of(text, error);
  if (!tree) {
    return std::nullopt;
  }
  config_document document;
  entry_collector(text, document).collect_table(tree->as_table());
  return document;
}

config_entry const* config_document::find(std::string_view key) const {
  auto const found = entries.find(parts_of(key));
  return found == entries.end() ? nullptr : &found->second;
}

std::vector<std::string> config_document::names_in(std::string_view table_key) const {
  auto const table = parts_of(table_key);
  std::vector<std::string> names;
  for (auto const& [path, entry] : entries) {
    if (path.size() == table.size() + 1 && std::equal(table.begin(), table.end(), path.begin())) {
      names.push_back(path.back());
    }
  }
  return names;
}

std::vector<std::string> config_document::keys() const {
  std::vector<std::string> all;
  for (auto const& [path, entry] : entries) {
    bool const is_in_array = std::any_of(path.begin(), path.end(), is_name_of_element);
    if (entry.kind == "table" || is_in_array) {
      continue;
    }
    std::string key = path.front();
    for (auto name = path.begin() + 1; name != path.end(); ++name) {
      key += '.' + *name;
    }
    all.push_back(std::move(key));
  }
  return all;
}

bool config_document::is_same_except_for(std::string_view key, config_document const& other) const {
  auto const exception = parts_of(key);
  return std::equal(entries.begin(), entries.end(), other.entries.begin(), other.entries.end(),
                    [&](auto const& mine, auto const& theirs) {
                      return mine.first == theirs.first &&
                             (mine.first == exception || (mine.second.kind == theirs.second.kind &&
                                                          mine.second.source == theirs.second.source));
                    });
}

}  // namespace mura_common
