#pragma once

#include <cstdint>
#include <filesystem>
#include <vector>

#include "mura_common/export.h"

namespace mura_common {

/// The members of the SHA-2 family (FIPS 180-4) that files can be hashed with.
struct Sha2 {
  /// Which member; the values are part of the interface.
  enum class Type { sha256 = 0, sha384 = 1, sha512 = 2 };
};

/// Computes the hash of a file's content, reading it piece by piece.
///
/// Memory use does not depend on the size of the file. May be called from any thread.
/// @param type  the hash to compute
/// @param path  a regular file
/// @return the hash's bytes (32, 48 or 64); empty when the file cannot be opened or read to its end,
///         is a directory, or `type` is none of the enumerators
[[nodiscard]] MURA_COMMON_EXPORT std::vector<std::uint8_t> computeFileHash(Sha2::Type type,
                                                                           std::filesystem::path const& path);

}  // namespace mura_common
