#pragma once

#include <optional>
#include <string>
#include <string_view>

#include <boost/asio/awaitable.hpp>

#include "http_exchange.h"

namespace tavi::site::ocpp {

/// Longest identity of a station, in bytes.
inline constexpr std::size_t identity_limit = 48;
/// The WebSocket sub-protocol of OCPP-J 1.6.
inline constexpr std::string_view sub_protocol = "ocpp1.6";

/// Whether `identity` can name a station: UTF-8 of 1 to 48 bytes without control characters.
[[nodiscard]] bool is_identity(std::string_view identity);

/// The identity in the target of a request, percent-decoded; what follows "?" does not count.
/// @param target  such as "/ocpp/CP%2001"
/// @return empty when the target is not of the form "/ocpp/<identity>", an escape is broken, or the result
///         is no identity
[[nodiscard]] std::optional<std::string> read_identity(std::string_view target);

/// Whether the sub-protocol is among those that a station offers.
/// @param offered  value of the header Sec-WebSocket-Protocol, names separated by commas
[[nodiscard]] bool has_sub_protocol(std::string_view offered);

/// Answers a request for something else that a WebSocket is wanted.
/// @param exchange  of a request that is read to its end; outlives the coroutine
/// @return whether another request can be read from the connection
boost::asio::awaitable<bool> ask_for_web_socket(http::http_exchange& exchange);

/// Completes the handshake of a station that offers no sub-protocol of the site without naming one, and
/// closes the connection at once, as OCPP-J 1.6 wants it. A request that is no proper handshake is refused
/// with 400.
/// @param exchange  of a request for a WebSocket; outlives the coroutine, its stream is moved away
boost::asio::awaitable<void> open_and_close(http::http_exchange& exchange);

}  // namespace tavi::site::ocpp
