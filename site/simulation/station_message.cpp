#include "simulation/station_message.h"

#include <cstdint>

namespace tavi::site::simulation {
namespace {

using nlohmann::json;

constexpr std::size_t longest_id = 36;  // as OCPP-J has it

std::string to_text(json const& frame) {
  return frame.dump(-1, ' ', false, json::error_handler_t::replace);
}

central_message read_call(json const& frame, std::string const& id) {
  if (frame.size() != 4 || !frame[2].is_string() || !frame[3].is_object()) {
    return broken_message{id, "a call is [2, id, action, payload object]"};
  }
  return central_call{id, frame[2].get<std::string>(), frame[3]};
}

central_message read_result(json const& frame, std::string const& id) {
  if (frame.size() != 3 || !frame[2].is_object()) {
    return broken_message{"", "an answer is [3, id, payload object]"};
  }
  return central_result{id, frame[2]};
}

central_message read_error(json const& frame, std::string const& id) {
  if (frame.size() < 4 || !frame[2].is_string() || !frame[3].is_string()) {
    return broken_message{"", "a refusal is [4, id, code, description, details]"};
  }
  return central_error{id, frame[2].get<std::string>(), frame[3].get<std::string>()};
}

}  // namespace

central_message parse_central_message(std::string const& text) {
  auto const frame = json::parse(text, nullptr, false);
  if (!frame.is_array() || frame.size() < 3) {
    return broken_message{"", "a message is a JSON array of three elements or more"};
  }
  if (!frame[0].is_number_integer() || !frame[1].is_string()) {
    return broken_message{"", "a message begins with its type and its id"};
  }
  auto const id = frame[1].get<std::string>();
  if (id.empty() || id.size() > longest_id) {
    return broken_message{"", "the id of a message has 1 to 36 characters"};
  }
  switch (frame[0].get<std::int64_t>()) {
    case 2:
      return read_call(frame, id);
    case 3:
      return read_result(frame, id);
    case 4:
      return read_error(frame, id);
    default:
      return broken_message{"", "the type of a message is 2, 3 or 4"};
  }
}

std::string encode_call(std::string const& id, std::string const& action, json const& payload) {
  return to_text(json::array({2, id, action, payload}));
}

std::string encode_result(std::string const& id, json const& payload) {
  return to_text(json::array({3, id, payload}));
}

std::string encode_error(std::string const& id, std::string const& code, std::string const& description) {
  return to_text(json::array({4, id, code, description, json::object()}));
}

}  // namespace tavi::site::simulation
