#pragma once

#include <map>
#include <mutex>
#include <string>

#include "expected_report_type.h"

namespace tavi::stations_maintenance {

/// The uploads that stations were asked for and that have not come yet, by their tokens.
///
/// They live in memory only. Every operation may be called from any thread and calls nothing else while it
/// holds the lock.
class expected_uploads {
 public:
  /// Expects an upload under this token; what was expected under it before is replaced.
  void insert(std::string const& token, expected_report_type const& expected);
  /// Whether exactly this token is known.
  [[nodiscard]] bool is_known(std::string const& token) const;
  /// What the upload with this token will be. A token that is not known is known from then on, as all zero.
  [[nodiscard]] expected_report_type get_or_insert(std::string const& token);
  /// Forgets the token.
  void remove(std::string const& token);

 private:
  mutable std::mutex mutex;
  std::map<std::string, expected_report_type> uploads;
};

}  // namespace tavi::stations_maintenance
