#pragma once

#include <optional>

#include "mura_common/database.h"

namespace tavi::stations_maintenance {

/// Many deletions of diagnostic reports by path, done as one: they are flushed to disk once, and each finds
/// its rows without walking through the others. Nothing else is to be changed in the database meanwhile.
///
/// Where that is not possible, which the log then says, each deletion stands alone, as without this object.
class diagnostic_deletions {
 public:
  /// Begins; the deletions follow. @param database  of the reports; must outlive this object
  explicit diagnostic_deletions(mura_common::IDatabase& database);
  /// Brings the rows back unless `commit` has made their deletion last.
  ~diagnostic_deletions() = default;
  diagnostic_deletions(diagnostic_deletions const&) = delete;
  diagnostic_deletions& operator=(diagnostic_deletions const&) = delete;

  /// Whether the deletions are done as one.
  [[nodiscard]] bool has_begun() const { return work.has_value(); }
  /// Makes the deletions last; where each stands alone they do so already.
  /// @return false, with a line in the log, when that fails: the rows are back
  [[nodiscard]] bool commit();

 private:
  [[nodiscard]] bool run(char const* sql);

  mura_common::IDatabase& reports;
  std::optional<mura_common::transaction> work;
};

}  // namespace tavi::stations_maintenance
