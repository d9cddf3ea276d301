#pragma once

#include <cstddef>
#include <cstdint>
#include <istream>
#include <optional>
#include <string>

#include <toml.hpp>

namespace mura_common {

// What versions 3 and 4 of the parser call by different names, under one name each.

#if TOML11_VERSION_MAJOR < 4

using toml_value = toml::value;

inline toml_value parse_toml(std::istream& text) {
  return toml::parse(text, "configuration");
}
inline std::string const& text_of(toml_value const& value) {
  return value.as_string().str;
}
inline std::size_t line_of(toml::source_location const& place) {
  return place.line();
}
inline std::size_t column_of(toml::source_location const& place) {
  return place.column();
}
inline std::size_t length_of(toml::source_location const& place) {
  return place.region();
}
inline std::optional<toml::source_location> place_of(toml::exception const& refusal) {
  return refusal.location();
}

#else

/// Takes an integer of any length, as version 3 does, so that one entry beyond 64 bits does not cost the whole document.
struct lenient_integers : toml::type_config {
  static toml::result<integer_type, toml::error_info> parse_int(std::string const& digits,
                                                                toml::source_location const& place,
                                                                std::uint8_t base) {
    auto const value = toml::read_int<integer_type>(digits, place, base);
    return value.is_ok() ? value : toml::ok(integer_type{0});
  }
};

using toml_value = toml::basic_value<lenient_integers>;

inline toml_value parse_toml(std::istream& text) {
  return toml::parse<lenient_integers>(text, "configuration");
}
inline std::string const& text_of(toml_value const& value) {
  return value.as_string();
}
inline std::size_t line_of(toml::source_location const& place) {
  return place.first_line_number();
}
inline std::size_t column_of(toml::source_location const& place) {
  return place.first_column_number();
}
inline std::size_t length_of(toml::source_location const& place) {
  return place.length();
}
inline std::optional<toml::source_location> place_of(toml::exception const& refusal) {
  auto const* const known = dynamic_cast<toml::syntax_error const*>(&refusal);
  if (known == nullptr || known->errors().empty() || known->errors().front().locations().empty()) {
    return std::nullopt;
  }
  return known->errors().front().locations().front().first;
}

#endif

}  // namespace mura_common
