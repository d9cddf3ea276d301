#pragma once

#include <cstdint>
#include <string_view>

namespace tavi::site::firmware {

/// A stretch of a file.
struct byte_range {
  std::uint64_t first = 0;  ///< offset of its first byte
  std::uint64_t count = 0;  ///< bytes in it

  bool operator==(byte_range const&) const = default;
};

/// What a Range field asks for.
enum class range_kind {
  whole,         ///< the whole file
  part,          ///< one stretch of it
  unsatisfiable  ///< a stretch that the file does not have
};

/// A Range field, applied to a file.
struct range_finding {
  range_kind kind = range_kind::whole;  ///< see there
  byte_range range;                     ///< for `part` only; not empty and within the file

  bool operator==(range_finding const&) const = default;
};

/// Applies a Range field (RFC 9110, section 14.2) to a file.
///
/// Pure, any bytes. A field that is malformed, of another unit, or asks for several stretches is answered
/// with the whole file, as HTTP permits; so is the end of an empty file.
/// @param field  value of the field; empty when there is none
/// @param size   of the file in bytes
[[nodiscard]] range_finding find_range(std::string_view field, std::uint64_t size);

}  // namespace tavi::site::firmware
