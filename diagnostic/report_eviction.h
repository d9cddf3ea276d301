#pragma once

#include <cstdint>
#include <optional>

#include "expected_report_type.h"
#include "report_store.h"
#include "uploaded_report.h"

namespace tavi::stations_maintenance {

/// Whether the station has reached its count limit for the type of this report.
[[nodiscard]] bool has_too_many_reports(report_store const& store, expected_report_type const& expected);

/// Whether so many more bytes leave the tree below its budget. @return false with a line in the log
/// @throw std::filesystem::filesystem_error  when the tree cannot be walked to its end
[[nodiscard]] bool has_room_for(report_store const& store, std::uint64_t size);

/// Deletes the oldest report, of all or of one station, of both types or of one. @return whether file and row
/// are gone; false too when the file was missing already, though its row is deleted then
bool remove_oldest(report_store const& store, std::optional<int> station_id,
                   std::optional<diagnostic_report_type> type);

/// Makes room for a report. The oldest of its station and type gives way when the count limit is reached;
/// then, while the budget is exceeded, the station's oldest of either type, and where that fails the oldest
/// of all.
/// @return false, with a line in the log, when there is no room after every eviction
/// @throw std::filesystem::filesystem_error  as `has_room_for`
[[nodiscard]] bool make_room(report_store const& store, uploaded_report const& one);

}  // namespace tavi::stations_maintenance
