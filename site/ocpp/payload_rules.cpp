#include "ocpp/payload_rules.h"

#include <algorithm>
#include <limits>
#include <string>

#include <fmt/format.h>

namespace tavi::site::ocpp {

using ocpp_wire::error_code;
using ocpp_wire::refusal;

namespace {

using nlohmann::json;

refusal wrong_type(field_rule const& rule, char const* expected) {
  return {error_code::type_constraint_violation, fmt::format("{} is to be {}", rule.name, expected)};
}

refusal wrong_value(field_rule const& rule, std::string const& expected) {
  return {error_code::property_constraint_violation, fmt::format("{} is to be {}", rule.name, expected)};
}

/// How many characters a text has, which is well-formed UTF-8 once it was read as JSON.
std::size_t count_characters(std::string const& text) {
  auto const begins_character = [](char c) { return (static_cast<unsigned char>(c) & 0xC0) != 0x80; };
  return static_cast<std::size_t>(std::count_if(text.begin(), text.end(), begins_character));
}

std::optional<refusal> check_text(json const& value, field_rule const& rule) {
  if (!value.is_string()) {
    return wrong_type(rule, "a string");
  }
  auto const& text = value.get_ref<std::string const&>();
  if (rule.most > 0 && count_characters(text) > rule.most) {
    return wrong_value(rule, fmt::format("at most {} characters long", rule.most));
  }
  if (rule.type == field_type::choice &&
      std::find(rule.choices.begin(), rule.choices.end(), text) == rule.choices.end()) {
    return wrong_value(rule, "one of the values that OCPP 1.6 names");
  }
  if (rule.type == field_type::date_time && !is_date_time(text)) {
    return wrong_value(rule, "a date and time");
  }
  return std::nullopt;
}

std::optional<refusal> check_integer(json const& value, field_rule const& rule) {
  constexpr std::int64_t largest = std::numeric_limits<std::int32_t>::max();
  if (!value.is_number_integer()) {
    return wrong_type(rule, "a whole number");
  }
  bool const is_huge =
      value.is_number_unsigned() && value.get<std::uint64_t>() > static_cast<std::uint64_t>(largest);
  if (is_huge || value.get<std::int64_t>() < rule.least) {
    return wrong_value(rule, fmt::format("between {} and {}", rule.least, largest));
  }
  return std::nullopt;
}

std::optional<refusal> check_list(json const& value, field_rule const& rule) {
  if (!value.is_array()) {
    return wrong_type(rule, "a list");
  }
  if (value.size() < static_cast<std::size_t>(rule.least)) {
    return refusal{error_code::occurence_constraint_violation,
                   fmt::format("{} is to have at least {} element", rule.name, rule.least)};
  }
  for (auto const& element : value) {
    if (!element.is_object()) {
      return wrong_type(rule, "a list of objects");
    }
    if (auto violation = find_violation(element, rule.fields)) {
      return violation;
    }
  }
  return std::nullopt;
}

std::optional<refusal> check_field(json const& value, field_rule const& rule) {
  switch (rule.type) {
    case field_type::text:
    case field_type::choice:
    case field_type::date_time:
      return check_text(value, rule);
    case field_type::integer:
      return check_integer(value, rule);
    case field_type::list:
      return check_list(value, rule);
  }
  return std::nullopt;
}

}  // namespace

std::optional<refusal> find_violation(json const& object, std::span<field_rule const> rules) {
  for (auto const& rule : rules) {
    auto const field = object.find(rule.name);
    bool const is_left_out = field == object.end() || field->is_null();
    if (is_left_out && rule.is_required) {
      return refusal{error_code::occurence_constraint_violation, fmt::format("{} is missing", rule.name)};
    }
    if (is_left_out) {
      continue;
    }
    if (auto violation = check_field(*field, rule)) {
      return violation;
    }
  }
  return std::nullopt;
}

bool is_date_time(std::string_view text) {
  constexpr std::string_view form = "dddd-dd-ddTdd:dd:dd";
  if (text.size() < form.size() || text.size() > 40) {
    return false;
  }
  return std::equal(form.begin(), form.end(), text.begin(),
                    [](char wanted, char c) { return wanted == 'd' ? c >= '0' && c <= '9' : c == wanted; });
}

}  // namespace tavi::site::ocpp
