#include "mura_common/config.h"

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <fstream>
#include <iterator>
#include <limits>
#include <map>
#include <mutex>
#include <set>
#include <string_view>
#include <system_error>
#include <type_traits>
#include <utility>

#include <spdlog/spdlog.h>

#include "config/config_document.h"
#include "config/config_edit.h"
#include "config/config_limits.h"
#include "mura_common/file.h"
#include "mura_common/text.h"

namespace mura_common {
namespace {

namespace fs = std::filesystem;

/// Reads one byte more than a configuration may have, so that too large a file is noticed and not read whole.
std::optional<std::string> text_of(fs::path const& file) {
  std::error_code error;
  std::ifstream stream;
  if (!fs::is_directory(file, error)) {
    stream.open(file, std::ios::binary);
  }
  if (!stream.is_open()) {
    return std::nullopt;
  }
  std::string text(config_size_limit + 1, '\0');
  stream.read(text.data(), static_cast<std::streamsize>(text.size()));
  if (stream.bad()) {
    return std::nullopt;
  }
  text.resize(static_cast<std::size_t>(stream.gcount()));
  return text;
}

/// A file as it was when it was last both readable and TOML.
struct file_state {
  std::string text;
  config_document document;
};

std::optional<file_state> state_of(fs::path const& file) {
  auto text = text_of(file);
  std::error_code ignored;
  if (!text && fs::status(file, ignored).type() == fs::file_type::not_found) {
    spdlog::error(
        "[toml_config] {}: there is no such file; examples are in {} of the installation, and in "
        "config of the sources",
        file.string(), CONFIG_EXAMPLES);
    return std::nullopt;
  }
  if (!text) {
    spdlog::error("[toml_config] {}: cannot be read, expected a TOML file", file.string());
    return std::nullopt;
  }
  std::string error;
  auto document = config_document::parse(*text, error);
  if (!document) {
    spdlog::error("[toml_config] {}: {}", file.string(), error);
    return std::nullopt;
  }
  return file_state{std::move(*text), std::move(*document)};
}

stored_value stored_form_of(config_value const& value) {
  return std::visit(
      [](auto const& held) -> stored_value {
        using held_type = std::remove_cvref_t<decltype(held)>;
        if constexpr (std::is_same_v<held_type, std::string>) {
          return held;
        } else if constexpr (std::is_same_v<held_type, std::chrono::seconds>) {
          return static_cast<std::int64_t>(held.count());
        } else {
          return static_cast<std::int64_t>(held);
        }
      },
      value);
}

/// Only seconds can have been set to such a value, which the next start could not read.
bool is_negative(stored_value const& value) {
  auto const* const integer = std::get_if<std::int64_t>(&value);
  return integer != nullptr && *integer < 0;
}

std::string_view expectation_of(config_value const& wanted) {
  if (std::holds_alternative<unsigned int>(wanted)) {
    return "an integer from 0 to 4294967295";
  }
  if (std::holds_alternative<std::chrono::seconds>(wanted)) {
    return "an integer number of seconds, 0 or more";
  }
  return "a string";
}

std::string described(stored_value const& value) {
  return std::holds_alternative<std::string>(value) ? "a string" : to_toml(value);
}

/// The value in the type that `wanted` holds; absent when it does not fit.
std::optional<config_value> converted(stored_value const& value, config_value const& wanted) {
  auto const* const integer = std::get_if<std::int64_t>(&value);
  if (integer == nullptr) {
    return std::holds_alternative<std::string>(wanted)
               ? std::optional<config_value>(std::get<std::string>(value))
               : std::nullopt;
  }
  if (std::holds_alternative<std::string>(wanted) || *integer < 0) {
    return std::nullopt;
  }
  if (std::holds_alternative<std::chrono::seconds>(wanted)) {
    return config_value(std::chrono::seconds(*integer));
  }
  return *integer <= std::numeric_limits<unsigned int>::max()
             ? std::optional<config_value>(static_cast<unsigned int>(*integer))
             : std::nullopt;
}

/// The key up to its last dot, with it; empty when it has none.
std::string_view table_of(std::string_view key) {
  return key.substr(0, key.rfind('.') + 1);
}

/// The key that an operator probably meant. A whole key is so long that nearly everything would be near it, so
/// names are compared within their table where there is such a table.
std::string find_nearest_key(std::string const& unknown, std::set<std::string> const& known) {
  std::string const table(table_of(unknown));
  std::vector<std::string> names;
  for (auto const& key : known) {
    if (table_of(key) == table) {
      names.push_back(key.substr(table.size()));
    }
  }
  if (names.empty()) {
    return find_nearest_word(unknown, {known.begin(), known.end()});
  }
  auto const name = find_nearest_word(unknown.substr(table.size()), names);
  return name.empty() ? name : table + name;
}

}  // namespace

struct [[gnu::visibility("hidden")]] toml_config::content {
  using values = std::map<std::string, stored_value>;

  /// The value in force, from what was set or else from the file as it was loaded.
  [[nodiscard]] std::optional<stored_value> value_of(std::string const& key) const;
  /// Brings `seen` up to date, as far as the file can be used.
  void look_again();
  /// Puts the values into a text.
  [[nodiscard]] std::optional<std::string> edited(std::string text, values const& changes) const;

  /// Held while a file is read or written; taken before `guard`, which is never held meanwhile.
  std::mutex file_access;
  file_state seen;  ///< belongs to `file_access`
  mutable std::mutex guard;
  fs::path file;
  config_document document;       ///< as it was loaded
  std::set<std::string> asked;    ///< keys that anybody wanted to read since loading
  values set_values;              ///< every value set since loading
  std::set<std::string> unsaved;  ///< keys among them that are not known to be in the file
};

std::optional<stored_value> toml_config::content::value_of(std::string const& key) const {
  if (auto const found = set_values.find(key); found != set_values.end()) {
    return found->second;
  }
  auto const* const entry = document.find(key);
  return entry != nullptr ? entry->value : std::nullopt;
}

void toml_config::content::look_again() {
  auto text = text_of(file);
  if (!text || *text == seen.text) {
    return;
  }
  std::string ignored;  // a saving says what is wrong with the file, and fails
  if (auto document_now = config_document::parse(*text, ignored)) {
    seen = {std::move(*text), std::move(*document_now)};
  }
}

std::optional<std::string> toml_config::content::edited(std::string text, values const& changes) const {
  bool is_complete = true;
  for (auto const& [key, value] : changes) {
    std::string error = "'" + key + "' would be negative, expected 0 or more";
    auto changed = is_negative(value) ? std::nullopt : replace_config_value(text, key, value, error);
    if (!changed) {
      spdlog::error("[toml_config] {}: cannot be saved: {}", file.string(), error);
      is_complete = false;
      continue;
    }
    text = std::move(*changed);
  }
  return is_complete ? std::optional<std::string>(std::move(text)) : std::nullopt;
}

toml_config::toml_config() : own(std::make_unique<content>()) {
}

toml_config::~toml_config() = default;

bool toml_config::load(std::filesystem::path const& file) {
  std::lock_guard const access(own->file_access);
  std::error_code error;
  auto place = fs::absolute(file, error);
  auto state = state_of(error ? file : place);
  bool const is_loaded = state.has_value();
  own->seen = is_loaded ? std::move(*state) : file_state();

  std::lock_guard const lock(own->guard);
  own->asked.clear();
  own->set_values.clear();
  own->unsaved.clear();
  own->file = std::move(place);
  own->document = own->seen.document;
  return is_loaded;
}

bool toml_config::save() {
  std::lock_guard const access(own->file_access);
  content::values changes;
  {
    std::lock_guard const lock(own->guard);
    for (auto const& key : own->unsaved) {
      changes.emplace(key, own->set_values.at(key));
    }
  }
  if (changes.empty()) {
    return true;
  }

  auto state = state_of(own->file);
  if (!state) {
    return false;
  }
  own->seen = std::move(*state);
  auto const& text = own->seen.text;
  auto const changed = own->edited(text, changes);
  if (!changed) {
    return false;
  }
  std::error_code error;
  if (*changed != text && !replace_file_durably(own->file, *changed, error)) {
    spdlog::error("[toml_config] {}: cannot be saved: {}", own->file.string(), error.message());
    return false;
  }

  std::lock_guard const lock(own->guard);
  for (auto const& [key, value] : changes) {
    if (own->set_values.at(key) == value) {
      own->unsaved.erase(key);
    }
  }
  return true;
}

void toml_config::check_keys() const {
  std::lock_guard const lock(own->guard);
  auto known = own->asked;
  for (auto const& key : own->asked) {
    known.insert({"limits." + key + ".max", "limits." + key + ".min"});
  }
  for (auto const& key : own->document.keys()) {
    if (known.contains(key)) {
      continue;
    }
    auto const meant = find_nearest_key(key, known);
    spdlog::warn("[toml_config] {}: '{}' is not known here{}", own->file.string(), key,
                 meant.empty() ? "" : ", did you mean '" + meant + "'?");
  }
}

bool toml_config::check_saving() const {
  std::lock_guard const lock(own->guard);
  std::error_code error;
  // A link stays one: the file behind it is replaced, in its own folder.
  auto const folder = fs::canonical(own->file, error).parent_path();
  if (!error && ::faccessat(AT_FDCWD, folder.c_str(), W_OK | X_OK, AT_EACCESS) != 0) {
    error = {errno, std::generic_category()};
  }
  if (error) {
    spdlog::warn(
        "[toml_config] {}: changes at run time will not be saved: folder {}: {}; let the user of this "
        "process write to it, or keep the file in a folder where it may",
        own->file.string(), folder.string(), error.message());
  }
  return !error;
}

std::optional<config_value> toml_config::read(std::string const& key, config_value const& wanted) {
  std::lock_guard const access(own->file_access);
  own->look_again();
  {
    std::lock_guard const lock(own->guard);
    own->asked.insert(key);
  }
  auto const complain = [&](std::string_view found) {
    spdlog::error("[toml_config] {}: '{}' is {}, expected {}", own->file.string(), key, found,
                  expectation_of(wanted));
    return std::nullopt;
  };
  auto const* const entry = own->seen.document.find(key);
  if (entry == nullptr || !entry->value) {
    return complain(entry == nullptr ? "missing" : "of type " + entry->kind);
  }
  if (!converted(*entry->value, wanted)) {
    return complain(described(*entry->value));
  }
  std::lock_guard const lock(own->guard);
  auto const value = own->value_of(key);
  if (!value) {
    return complain("not in force, as the file was loaded without it");
  }
  auto result = converted(*value, wanted);
  return result ? result : complain("in force as " + described(*value));
}

std::optional<config_value> toml_config::current(std::string const& key, config_value const& wanted) {
  std::lock_guard const lock(own->guard);
  auto const value = own->value_of(key);
  return value ? converted(*value, wanted) : std::nullopt;
}

bool toml_config::accepts(std::string const& key, config_value const& value) const {
  auto const stored = stored_form_of(value);
  auto const* const integer = std::get_if<std::int64_t>(&stored);
  if (integer == nullptr) {
    return true;
  }
  std::lock_guard const lock(own->guard);
  std::string error;
  auto const limits = limits_of(own->document, key, error);
  if (!limits) {
    spdlog::error("[toml_config] {}: every value for '{}' is refused: {}", own->file.string(), key, error);
  }
  return limits && *integer >= 0 && limits->is_met_by(*integer);
}

void toml_config::write(std::string const& key, config_value const& value) {
  std::lock_guard const lock(own->guard);
  own->set_values.insert_or_assign(key, stored_form_of(value));
  own->unsaved.insert(key);
}

}  // namespace mura_common
