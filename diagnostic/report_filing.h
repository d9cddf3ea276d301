#pragma once

#include <cstdint>
#include <string>

#include "report_store.h"
#include "uploaded_report.h"

namespace tavi::stations_maintenance {

/// One uploaded report's way into tree and table: recorded by a row with the placeholder path, placed under
/// that row's number, and then stored, when the row knows where its file lies.
///
/// What was recorded or placed and did not get further is undone, with the object at the latest. A row whose
/// station's directory could not be made stays: the check at the next start deletes it.
class report_filing {
 public:
  /// @param kept, one  must outlive this object
  report_filing(report_store const& kept, uploaded_report const& one);
  ~report_filing();
  report_filing(report_filing const&) = delete;
  report_filing& operator=(report_filing const&) = delete;

  /// Goes the whole way, once. The uploaded file is gone afterwards if it was placed or could not be copied.
  /// @return false, with a line in the log, when the station's directory cannot be made or the path cannot be
  /// stored; true also after a failed copy: the upload has been dealt with, though there is no report of it
  [[nodiscard]] bool run();

 private:
  enum class stage { nothing, recorded, placed, stored };
  [[nodiscard]] bool record();
  [[nodiscard]] bool place();
  [[nodiscard]] bool store_path();
  void undo();

  report_store const& store;
  uploaded_report const& upload;
  stage reached = stage::nothing;
  std::uint32_t diagnostic_id = 0;
  std::string full_path;
};

}  // namespace tavi::stations_maintenance
