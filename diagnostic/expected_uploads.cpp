#include "expected_uploads.h"

namespace tavi::stations_maintenance {

void expected_uploads::insert(std::string const& token, expected_report_type const& expected) {
  std::lock_guard const lock(mutex);
  uploads[token] = expected;
}

bool expected_uploads::is_known(std::string const& token) const {
  std::lock_guard const lock(mutex);
  return uploads.contains(token);
}

expected_report_type expected_uploads::get_or_insert(std::string const& token) {
  std::lock_guard const lock(mutex);
  return uploads[token];
}

void expected_uploads::remove(std::string const& token) {
  std::lock_guard const lock(mutex);
  uploads.erase(token);
}

}  // namespace tavi::stations_maintenance
