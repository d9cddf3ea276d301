#include "ipc/ipc_message.h"

#include <optional>
#include <utility>

#include <fmt/format.h>

#include "mura_common/ipc.h"
#include "mura_common/text.h"

namespace mura_common::ipc {

namespace {

using nlohmann::json;

constexpr char const* const other_version = "the message is of another protocol version";

std::string text_of(json const& message) {
  return message.dump(-1, ' ', false, json::error_handler_t::replace);
}

std::variant<json, unreadable> parse_object(std::string_view frame) {
  if (frame.empty()) {
    return unreadable{"the message is empty"};
  }
  if (is_json_deeper_than(frame, nesting_limit)) {
    return unreadable{fmt::format("the message nests deeper than {} levels", nesting_limit)};
  }
  auto message = json::parse(frame, nullptr, false);
  if (message.is_discarded()) {
    return unreadable{"the message is no JSON in UTF-8"};
  }
  if (!message.is_object()) {
    return unreadable{"the message is no JSON object"};
  }
  if (auto const version = message.find("protocol");
      version == message.end() || !version->is_number_integer()) {
    return unreadable{"the message has no whole number \"protocol\""};
  }
  return message;
}

bool is_current(json const& message) {
  return message["protocol"] == json(ipc_protocol_version);
}

/// The text member `key`; absent when it is missing, no text or empty.
std::optional<std::string> text_member(json const& message, char const* key) {
  auto const found = message.find(key);
  if (found == message.end() || !found->is_string() || found->get_ref<std::string const&>().empty()) {
    return std::nullopt;
  }
  return found->get<std::string>();
}

bool has_array(json const& message, char const* key) {
  auto const found = message.find(key);
  return found != message.end() && found->is_array();
}

}  // namespace

std::string encode_request(std::string_view operation, json const& arguments) {
  return text_of(
      {{"protocol", ipc_protocol_version}, {"operation", std::string(operation)}, {"arguments", arguments}});
}

std::variant<request_message, refusal> decode_request(std::string_view frame) {
  if (frame.size() > ipc_request_limit) {
    return refusal{too_large, fmt::format("the request has {} bytes, at most {} are taken", frame.size(),
                                          ipc_request_limit)};
  }
  auto parsed = parse_object(frame);
  if (auto const* problem = std::get_if<unreadable>(&parsed)) {
    return refusal{bad_request, problem->reason};
  }
  auto& message = std::get<json>(parsed);
  if (!is_current(message)) {
    return refusal{wrong_protocol,
                   fmt::format("this service speaks protocol version {}", ipc_protocol_version)};
  }
  auto operation = text_member(message, "operation");
  if (!operation) {
    return refusal{bad_request, "the request has no text \"operation\""};
  }
  if (!has_array(message, "arguments")) {
    return refusal{bad_request, "the request has no array \"arguments\""};
  }
  return request_message{std::move(*operation), std::move(message["arguments"])};
}

std::string encode_reply(json const& body) {
  json message = {{"protocol", ipc_protocol_version}, {"result", nullptr}, {"out", json::array()}};
  if (body.is_object()) {
    message.update(body);
  }
  return text_of(message);
}

std::string encode_refusal(refusal const& error) {
  return text_of(
      {{"protocol", ipc_protocol_version}, {"error", {{"code", error.code}, {"text", error.text}}}});
}

std::variant<json, refusal, unreadable> decode_reply(std::string_view frame) {
  auto parsed = parse_object(frame);
  if (auto* const problem = std::get_if<unreadable>(&parsed)) {
    return std::move(*problem);
  }
  auto& message = std::get<json>(parsed);
  if (!is_current(message)) {
    return unreadable{other_version};
  }
  if (auto const error = message.find("error"); error != message.end()) {
    auto code = error->is_object() ? text_member(*error, "code") : std::nullopt;
    if (!code) {
      return unreadable{"the error reply has no text \"code\""};
    }
    return refusal{std::move(*code), text_member(*error, "text").value_or("")};
  }
  if (!message.contains("result") || !has_array(message, "out")) {
    return unreadable{"the reply lacks \"result\" or the array \"out\""};
  }
  message.erase("protocol");
  return std::move(message);
}

std::string encode_event(event_message const& event) {
  return text_of({{"protocol", ipc_protocol_version},
                  {"event", event.event},
                  {"number", event.number},
                  {"publisher", event.publisher},
                  {"arguments", event.arguments}});
}

std::variant<event_message, unreadable> decode_event(std::string_view frame) {
  auto parsed = parse_object(frame);
  if (auto* const problem = std::get_if<unreadable>(&parsed)) {
    return std::move(*problem);
  }
  auto& message = std::get<json>(parsed);
  if (!is_current(message)) {
    return unreadable{other_version};
  }
  auto event = text_member(message, "event");
  auto publisher = text_member(message, "publisher");
  auto const number = message.find("number");
  if (!event || !publisher || number == message.end() || !number->is_number_unsigned() ||
      !has_array(message, "arguments")) {
    return unreadable{"the event lacks \"event\", \"publisher\", \"number\" or \"arguments\""};
  }
  return event_message{std::move(*event), number->get<std::uint64_t>(), std::move(*publisher),
                       std::move(message["arguments"])};
}

std::string printable(std::string_view name) {
  return json(std::string(name.substr(0, 64))).dump(-1, ' ', true, json::error_handler_t::replace);
}

}  // namespace mura_common::ipc
