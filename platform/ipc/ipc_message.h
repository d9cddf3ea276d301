#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <variant>

#include <nlohmann/json.hpp>

/// The text of the messages that services exchange, made and understood without any input or output.
///
/// No function here throws for what a frame holds, and none recurses by its nesting.
namespace mura_common::ipc {

/// Levels of arrays and objects that a message may nest; a deeper one is unreadable.
inline constexpr std::size_t nesting_limit = 64;

/// Codes of error replies.
inline constexpr char const* unknown_operation = "unknown_operation";
inline constexpr char const* bad_request = "bad_request";
inline constexpr char const* too_large = "too_large";
inline constexpr char const* failed = "failed";
inline constexpr char const* wrong_protocol = "wrong_protocol";

/// A request as it was understood.
struct request_message {
  std::string operation;     ///< its name, not empty
  nlohmann::json arguments;  ///< an array
};

/// An error reply: the service could not or would not do what was asked.
struct refusal {
  std::string code;  ///< one of the codes above, or one that a newer service knows
  std::string text;  ///< for people
};

/// An event as it was understood.
struct event_message {
  std::string event;         ///< its name, not empty
  std::uint64_t number = 0;  ///< ascends by one with each event of one publisher
  std::string publisher;     ///< tells one run of a publisher from the next
  nlohmann::json arguments;  ///< an array
};

/// What became of a frame that is no message of the expected kind.
struct unreadable {
  std::string reason;  ///< for the log; holds no content of the frame
};

/// Makes a request. Text that is not UTF-8 gets replacement characters, here and in the functions below.
[[nodiscard]] std::string encode_request(std::string_view operation, nlohmann::json const& arguments);

/// Understands a request. @return the request, or the error reply that it deserves: `too_large` above
/// `ipc_request_limit`, `wrong_protocol` for another version, else `bad_request`
[[nodiscard]] std::variant<request_message, refusal> decode_request(std::string_view frame);

/// Makes a reply. @param body  an object with "result" and "out"; one that lacks them gets null and []
[[nodiscard]] std::string encode_reply(nlohmann::json const& body);

/// Makes an error reply.
[[nodiscard]] std::string encode_refusal(refusal const& error);

/// Understands a reply. @return its body (an object that has "result", and "out" as an array), the error that
/// it tells of, or why it is neither
[[nodiscard]] std::variant<nlohmann::json, refusal, unreadable> decode_reply(std::string_view frame);

/// Makes an event.
[[nodiscard]] std::string encode_event(event_message const& event);

/// Understands an event. @return the event, or why the frame is none
[[nodiscard]] std::variant<event_message, unreadable> decode_event(std::string_view frame);

/// A name from outside as it may stand in a log line: quoted, escaped, at most 64 bytes of it.
[[nodiscard]] std::string printable(std::string_view name);

}  // namespace mura_common::ipc
