#include "station_message.h"

#include <cstdint>
#include <string_view>
#include <utility>

namespace tavi::simulator {
namespace {

using nlohmann::json;

constexpr std::size_t longest_id = 36;  // as OCPP-J has it
constexpr std::size_t most_levels = 16;

/// Whether the brackets of `text` nest too deep. Asked before parsing, because what works on a parsed value
/// descends into it and would use up the stack.
bool is_too_deep(std::string_view text) {
  std::size_t level = 0;
  bool is_in_string = false;
  for (std::size_t at = 0; at < text.size() && level <= most_levels; ++at) {
    char const c = text[at];
    if (is_in_string && c == '\\') {
      ++at;
    } else if (c == '"') {
      is_in_string = !is_in_string;
    } else if (!is_in_string && (c == '[' || c == '{')) {
      ++level;
    } else if (!is_in_string && (c == ']' || c == '}') && level > 0) {
      --level;
    }
  }
  return level > most_levels;
}

std::string to_text(json const& frame) {
  return frame.dump(-1, ' ', false, json::error_handler_t::replace);
}

/// Takes a text out of a frame that is not needed any more.
std::string take_text(json& element) {
  return std::move(element.get_ref<std::string&>());
}

central_message read_call(json& frame, std::string id) {
  if (frame.size() != 4 || !frame[2].is_string() || !frame[3].is_object()) {
    return broken_message{std::move(id), "a call is [2, id, action, payload object]"};
  }
  return central_call{std::move(id), take_text(frame[2]), std::move(frame[3])};
}

central_message read_result(json& frame, std::string id) {
  if (frame.size() != 3 || !frame[2].is_object()) {
    return broken_message{"", "an answer is [3, id, payload object]"};
  }
  return central_result{std::move(id), std::move(frame[2])};
}

central_message read_error(json& frame, std::string id) {
  if (frame.size() < 4 || !frame[2].is_string() || !frame[3].is_string()) {
    return broken_message{"", "a refusal is [4, id, code, description, details]"};
  }
  return central_error{std::move(id), take_text(frame[2]), take_text(frame[3])};
}

}  // namespace

central_message parse_central_message(std::string const& text) {
  if (is_too_deep(text)) {
    return broken_message{"", "a message nests at most " + std::to_string(most_levels) + " levels"};
  }
  auto frame = json::parse(text, nullptr, false);
  if (!frame.is_array() || frame.size() < 3) {
    return broken_message{"", "a message is a JSON array of three elements or more"};
  }
  if (!frame[0].is_number_integer() || !frame[1].is_string()) {
    return broken_message{"", "a message begins with its type and its id"};
  }
  auto id = take_text(frame[1]);
  if (id.empty() || id.size() > longest_id) {
    return broken_message{"", "the id of a message has 1 to 36 characters"};
  }
  switch (frame[0].get<std::int64_t>()) {
    case 2:
      return read_call(frame, std::move(id));
    case 3:
      return read_result(frame, std::move(id));
    case 4:
      return read_error(frame, std::move(id));
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

}  // namespace tavi::simulator
