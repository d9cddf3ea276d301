#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace tavi::site {

/// What stands beside a finished upload in the spool, so that a restart forgets nothing about it.
struct spool_record {
  std::string token;  ///< not empty
  std::string owner;  ///< who is to take the file
  std::string name;   ///< as the uploader gave it; bytes that are no UTF-8 are replaced when written
  std::int64_t expires_at = 0;  ///< seconds since 1970-01-01T00:00:00Z
};

/// The record as one line of JSON.
[[nodiscard]] std::string write_spool_record(spool_record const& record);

/// Reads what `write_spool_record` wrote.
/// @return empty when it is no such record, whatever else it is
[[nodiscard]] std::optional<spool_record> read_spool_record(std::string_view text);

}  // namespace tavi::site
