#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <span>
#include <string>
#include <string_view>

namespace tavi::http {

/// Fills bytes with randomness fit for secrets. @return false when there is none
using random_source = std::function<bool(std::span<std::uint8_t> bytes)>;

/// The random source of the system.
[[nodiscard]] bool fill_from_system(std::span<std::uint8_t> bytes);

/// Makes a token out of 32 random bytes: 43 characters out of A-Z a-z 0-9 - _.
/// @return empty, with a line in the log, when there is no randomness
[[nodiscard]] std::optional<std::string> make_secret_token(random_source const& random);

/// The key under which a token is kept, so that the time in which it is found says nothing about it.
/// @param token  any bytes
/// @return empty when the hash cannot be computed
[[nodiscard]] std::string key_of_secret(std::string_view token);

/// Whether two tokens are the same; takes as long for two of one length, wherever they differ.
[[nodiscard]] bool is_same_secret(std::string_view left, std::string_view right);

}  // namespace tavi::http
