#pragma once

#include <map>
#include <optional>
#include <string>
#include <string_view>

namespace tavi::site::uploads {

/// A header value such as `form-data; name="file"; filename="a.zip"`.
struct header_value {
  std::string kind;                               ///< before the first ";", lower case
  std::map<std::string, std::string> parameters;  ///< by lower-case name, unquoted; of equal names the first
};

/// Takes a header value apart. Never fails: what is no parameter is left out.
[[nodiscard]] header_value parse_header_value(std::string_view text);

/// The boundary of a multipart body.
/// @return empty when the parameter is missing, longer than 70 characters, or has bytes no boundary may have
[[nodiscard]] std::optional<std::string> find_boundary(header_value const& content_type);

/// The name that a part was given: `filename*` in UTF-8 where it can be decoded, else `filename`.
/// @return empty when the part has neither, so is no file; an empty name when it is given as such
[[nodiscard]] std::optional<std::string> find_file_name(header_value const& disposition);

}  // namespace tavi::site::uploads
