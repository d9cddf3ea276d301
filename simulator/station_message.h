#pragma once

#include <string>
#include <variant>

#include <nlohmann/json.hpp>

namespace tavi::simulator {

/// The central system asks something of the station.
struct central_call {
  std::string id;          ///< to be repeated in the answer
  std::string action;      ///< such as "GetDiagnostics"
  nlohmann::json payload;  ///< always an object
};

/// The central system answers a call of the station.
struct central_result {
  std::string id;          ///< of the station's call
  nlohmann::json payload;  ///< always an object
};

/// The central system refuses a call of the station.
struct central_error {
  std::string id;           ///< of the station's call
  std::string code;         ///< such as "NotImplemented"
  std::string description;  ///< free text, may be empty
};

/// What came is no message of OCPP-J.
struct broken_message {
  std::string id;      ///< of a call that can still be refused; empty when nothing can be answered
  std::string reason;  ///< what is wrong, for the log and the refusal
};

/// Whatever a text frame from the central system can be.
using central_message = std::variant<central_call, central_result, central_error, broken_message>;

/// Reads one text frame. Pure, throws nothing on bad input. @param text  from outside, any bytes
/// @return a broken message, that cannot be answered, also when arrays and objects nest deeper than 16 levels
[[nodiscard]] central_message parse_central_message(std::string const& text);

/// The frame of a call: [2, id, action, payload]; text that is not UTF-8 is replaced, never thrown about.
[[nodiscard]] std::string encode_call(std::string const& id, std::string const& action,
                                      nlohmann::json const& payload);

/// The frame that answers call `id`: [3, id, payload].
[[nodiscard]] std::string encode_result(std::string const& id, nlohmann::json const& payload);

/// The frame that refuses call `id`: [4, id, code, description, {}].
[[nodiscard]] std::string encode_error(std::string const& id, std::string const& code,
                                       std::string const& description);

}  // namespace tavi::simulator
