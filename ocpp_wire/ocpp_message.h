#pragma once

#include <string>
#include <string_view>
#include <variant>

#include <nlohmann/json.hpp>

namespace tavi::ocpp_wire {

/// Largest message in bytes that is looked at.
inline constexpr std::size_t message_bytes_limit = 64 * 1024;
/// Deepest nesting of arrays and objects that is looked at; OCPP 1.6 itself needs six.
inline constexpr std::size_t message_depth_limit = 16;
/// Longest id of a message, in bytes.
inline constexpr std::size_t message_id_limit = 36;

/// The error codes with which a call can be answered (OCPP-J 1.6, table of CALLERROR codes).
enum class error_code {
  not_implemented,                 ///< the action is not known
  not_supported,                   ///< the action is known, but not one that this side takes
  internal_error,                  ///< it could not be carried out
  formation_violation,             ///< the message has not the form of a call
  property_constraint_violation,   ///< a field has a value that it must not have
  occurence_constraint_violation,  ///< a field is missing, or a list has too few elements
  type_constraint_violation,       ///< a field is of another type
};

/// The code as it is written on the wire; "OccurenceConstraintViolation" is spelled as OCPP-J 1.6 does.
[[nodiscard]] std::string_view name_of(error_code code);

/// Why a call is answered with an error.
struct refusal {
  error_code code;          ///< goes to the other side
  std::string description;  ///< goes to the other side; at most 255 characters, none of them from its message

  bool operator==(refusal const&) const = default;
};

/// A request of one side to the other.
struct call {
  std::string id;          ///< repeated in the answer
  std::string action;      ///< such as "Heartbeat"
  nlohmann::json payload;  ///< always an object
};

/// The answer to a call that succeeded.
struct call_result {
  std::string id;          ///< of the call
  nlohmann::json payload;  ///< always an object
};

/// The answer to a call that failed, or an answer that could be matched but not understood.
struct call_error {
  std::string id;           ///< of the call
  std::string code;         ///< as on the wire
  std::string description;  ///< may be empty
};

/// A call that can be answered, but only with an error.
struct refused_call {
  std::string id;  ///< of the call
  refusal why;     ///< what to answer
};

/// A message to which nothing can be answered; it is dropped.
struct unidentified {
  std::string why;  ///< for the log; holds nothing of the message
};

/// Everything that a text received from the other side can be.
using message = std::variant<call, call_result, call_error, refused_call, unidentified>;

/// Tells what a received text is. Total: any bytes give one of the alternatives, and none throws.
///
/// A payload of null counts as an empty object, which OCPP-J 1.6 permits.
[[nodiscard]] message decode(std::string_view text);

/// [2, id, action, payload] as text.
[[nodiscard]] std::string encode(call const& request);
/// [3, id, payload] as text.
[[nodiscard]] std::string encode(call_result const& answer);
/// [4, id, code, description, {}] as text.
[[nodiscard]] std::string encode(refused_call const& answer);

/// Text of a stranger made fit for one line of a log: control characters and bytes that are no UTF-8 are
/// replaced by "?", what is longer than `limit` bytes is cut and ends with "...".
[[nodiscard]] std::string printable(std::string_view text, std::size_t limit = 64);

}  // namespace tavi::ocpp_wire
