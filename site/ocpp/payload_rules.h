#pragma once

#include <cstdint>
#include <limits>
#include <optional>
#include <span>
#include <string_view>

#include <nlohmann/json_fwd.hpp>

#include "ocpp_message.h"

namespace tavi::site::ocpp {

/// What a field of a payload holds.
enum class field_type {
  text,       ///< a string
  choice,     ///< a string out of a given set
  date_time,  ///< a string with an ISO 8601 date and time
  integer,    ///< a whole number of 32 bits
  list,       ///< an array of objects with fields of their own
};

/// What OCPP 1.6 says about one field of a payload.
struct field_rule {
  std::string_view name;     ///< as on the wire
  field_type type;           ///< what it holds
  bool is_required = false;  ///< whether it must be there
  std::size_t most = 0;      ///< text: longest in characters, 0 for any; unused otherwise
  std::int64_t least = 0;    ///< integer: smallest; list: fewest elements; unused otherwise
  std::span<std::string_view const> choices = {};  ///< choice: the values
  std::span<field_rule const> fields = {};         ///< list: the fields inside
};

/// Checks the fields of an object.
///
/// A field that no rule names is ignored, because stations of newer firmware say more than was agreed; a
/// field of null counts as left out.
/// @param object  a JSON object
/// @return empty when every rule holds; otherwise the first break: `occurence_constraint_violation` for a
///         missing field and for a list with too few elements, `type_constraint_violation`, and
///         `property_constraint_violation` for a value
[[nodiscard]] std::optional<ocpp_wire::refusal> find_violation(nlohmann::json const& object,
                                                               std::span<field_rule const> rules);

/// Whether `text` begins with a date and time such as 2026-11-20T14:05:09; fractions and zone may follow.
[[nodiscard]] bool is_date_time(std::string_view text);

}  // namespace tavi::site::ocpp
