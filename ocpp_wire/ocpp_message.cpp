#include "ocpp_message.h"

#include <algorithm>
#include <optional>

#include <fmt/format.h>

#include "mura_common/text.h"

namespace tavi::ocpp_wire {

namespace {

using nlohmann::json;

constexpr int call_type = 2;
constexpr int call_result_type = 3;
constexpr int call_error_type = 4;

std::optional<std::string> id_of(json const& frame) {
  if (frame.size() < 2 || !frame[1].is_string()) {
    return std::nullopt;
  }
  auto id = frame[1].get<std::string>();
  if (id.empty() || id.size() > message_id_limit) {
    return std::nullopt;
  }
  return id;
}

/// Turns the permitted null into the empty object that it stands for.
bool is_payload(json& part) {
  if (part.is_null()) {
    part = json::object();
  }
  return part.is_object();
}

message decode_call(json& frame, std::string id) {
  auto const refused = [&](char const* why) {
    return refused_call{std::move(id), {error_code::formation_violation, why}};
  };
  if (frame.size() != 4) {
    return refused("a call has four elements: [2, id, action, payload]");
  }
  if (!frame[2].is_string()) {
    return refused("the action of a call is a string");
  }
  if (!is_payload(frame[3])) {
    return refused("the payload of a call is an object");
  }
  return call{std::move(id), frame[2].get<std::string>(), std::move(frame[3])};
}

message decode_result(json& frame, std::string id) {
  if (frame.size() != 3 || !is_payload(frame[2])) {
    return call_error{std::move(id), std::string(name_of(error_code::formation_violation)),
                      "the answer is not of the form [3, id, payload]"};
  }
  return call_result{std::move(id), std::move(frame[2])};
}

message decode_error(json const& frame, std::string id) {
  auto const text_at = [&](std::size_t position) {
    return frame.size() > position && frame[position].is_string() ? frame[position].get<std::string>()
                                                                  : std::string();
  };
  return call_error{std::move(id), text_at(2), text_at(3)};
}

std::string to_text(json const& frame) {
  return frame.dump(-1, ' ', false, json::error_handler_t::replace);
}

}  // namespace

std::string_view name_of(error_code code) {
  switch (code) {
    case error_code::not_implemented:
      return "NotImplemented";
    case error_code::not_supported:
      return "NotSupported";
    case error_code::internal_error:
      return "InternalError";
    case error_code::formation_violation:
      return "FormationViolation";
    case error_code::property_constraint_violation:
      return "PropertyConstraintViolation";
    case error_code::occurence_constraint_violation:
      return "OccurenceConstraintViolation";
    case error_code::type_constraint_violation:
      return "TypeConstraintViolation";
  }
  return "GenericError";
}

message decode(std::string_view text) {
  if (mura_common::is_json_deeper_than(text, message_depth_limit)) {
    return unidentified{fmt::format("nested deeper than {} levels", message_depth_limit)};
  }
  if (text.size() > message_bytes_limit) {
    return unidentified{fmt::format("{} bytes, at most {} are read", text.size(), message_bytes_limit)};
  }
  auto frame = json::parse(text, nullptr, false);
  if (frame.is_discarded()) {
    return unidentified{"no JSON"};
  }
  if (!frame.is_array() || frame.empty() || !frame[0].is_number_integer()) {
    return unidentified{"no array that begins with the number of a message type"};
  }
  auto id = id_of(frame);
  if (!id.has_value()) {
    return unidentified{fmt::format("its id is no string of 1 to {} characters", message_id_limit)};
  }
  if (frame[0] == call_type) {
    return decode_call(frame, std::move(*id));
  }
  if (frame[0] == call_result_type) {
    return decode_result(frame, std::move(*id));
  }
  if (frame[0] == call_error_type) {
    return decode_error(frame, std::move(*id));
  }
  return unidentified{"its message type is none of 2, 3 and 4"};
}

std::string encode(call const& request) {
  return to_text(json::array({call_type, request.id, request.action, request.payload}));
}

std::string encode(call_result const& answer) {
  return to_text(json::array({call_result_type, answer.id, answer.payload}));
}

std::string encode(refused_call const& answer) {
  return to_text(json::array(
      {call_error_type, answer.id, name_of(answer.why.code), answer.why.description, json::object()}));
}

std::string printable(std::string_view text, std::size_t limit) {
  bool const is_cut = text.size() > limit;
  // The encoder knows what UTF-8 is: with its answer every byte beyond ASCII is either kept or replaced.
  auto const quoted = to_text(json(std::string(text.substr(0, limit))));
  auto clean =
      quoted.find("\xEF\xBF\xBD") == std::string::npos ? std::string(text.substr(0, limit)) : std::string();
  if (clean.empty()) {
    for (char const c : text.substr(0, limit)) {
      clean += static_cast<unsigned char>(c) < 0x80 ? c : '?';
    }
  }
  std::replace_if(
      clean.begin(), clean.end(), [](char c) { return static_cast<unsigned char>(c) < 0x20 || c == 0x7F; },
      '?');
  return is_cut ? clean + "..." : clean;
}

}  // namespace tavi::ocpp_wire
