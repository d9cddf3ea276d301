#pragma once

#include <optional>
#include <string>
#include <string_view>

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

}  // namespace tavi::site::ocpp
