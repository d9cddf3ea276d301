#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace tavi::simulator {

/// Where a server listens, taken apart.
struct web_location {
  std::string host;  ///< name or numeric address; a numeric IPv6 address without its brackets
  std::string port;  ///< decimal, 1 to 65535
  std::string path;  ///< begins with "/"

  bool operator==(web_location const&) const = default;
};

/// Takes "scheme://host[:port][/path]" apart; without a port it is 80, without a path "/".
///
/// Pure. @param text    from outside, any bytes
/// @param scheme  the only one accepted, lower case, such as "http" or "ws"
/// @return empty for everything else: another scheme, user information, a query, a fragment, an empty host, a
/// port out of range, and any blank, control character or byte beyond ASCII
[[nodiscard]] std::optional<web_location> parse_web_location(std::string_view text, std::string_view scheme);

/// The text with all but letters, digits and "-._~" written as %XX, so that it can stand as one path segment.
[[nodiscard]] std::string encode_path_segment(std::string_view text);

/// `path` with `name`, encoded, as a further segment; adds the "/" between them where it is missing.
[[nodiscard]] std::string append_segment(std::string_view path, std::string_view name);

/// The Host field for this location: the port is left out when it is 80, an IPv6 address stands in brackets.
[[nodiscard]] std::string host_field(web_location const& location);

}  // namespace tavi::simulator
