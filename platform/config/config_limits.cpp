#include "config/config_limits.h"

namespace mura_common {
namespace {

constexpr std::string_view table_name = "limits";

std::string described(std::string_view key, std::string_view found, std::string_view expected) {
  return "'" + std::string(key) + "' is " + std::string(found) + ", expected " + std::string(expected);
}

/// Whether every table on the way to the limits is one, as far as the way leads.
bool is_way_open(config_document const& document, std::string_view limits_key, std::string& error) {
  for (std::size_t end = 0; end != std::string_view::npos;) {
    end = limits_key.find('.', end + 1);
    auto const step = limits_key.substr(0, end);
    auto const* const entry = document.find(step);
    if (entry == nullptr) {
      return true;
    }
    if (entry->kind != "table") {
      error = described(step, "of type " + entry->kind, "a table");
      return false;
    }
  }
  return true;
}

}  // namespace

std::optional<config_limits> limits_of(config_document const& document, std::string const& key,
                                       std::string& error) {
  auto const limits_key = std::string(table_name) + '.' + key;
  if (!is_way_open(document, limits_key, error)) {
    return std::nullopt;
  }
  config_limits limits;
  for (auto const& name : document.names_in(limits_key)) {
    auto const bound_key = limits_key + '.' + name;
    auto const* const entry = document.find(bound_key);
    auto const* const bound =
        entry != nullptr && entry->value ? std::get_if<std::int64_t>(&*entry->value) : nullptr;
    if (name != "min" && name != "max") {
      error = described(bound_key, "unknown", "min or max");
      return std::nullopt;
    }
    if (bound == nullptr) {
      error = described(bound_key, entry != nullptr ? "of type " + entry->kind : "missing", "an integer");
      return std::nullopt;
    }
    (name == "min" ? limits.min : limits.max) = *bound;
  }
  if (limits.min && limits.max && *limits.min > *limits.max) {
    error = described(limits_key, "empty with min above max", "min up to max");
    return std::nullopt;
  }
  return limits;
}

}  // namespace mura_common
