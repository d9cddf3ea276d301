#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "diagnostic_table.h"
#include "report_tree.h"

namespace tavi::stations_maintenance {

/// Outcome of a removal other than 0, every chosen report deleted: no report was chosen.
inline constexpr std::uint32_t nothing_to_remove = 1;
/// At least one chosen report could not be deleted.
inline constexpr std::uint32_t not_all_removed = 2;

/// Deletes a report's file, then its row, the one even when the other fails.
/// @return whether both were deleted
bool remove_report(diagnostic_table& table, std::string const& full_path);

/// Deletes the chosen reports; one that fails stops no other. Unknown ids are skipped.
/// @return 0, or one of the outcomes above; a report whose file was missing already counts as not deleted,
/// though its row is gone then
std::uint32_t remove_reports(diagnostic_table& table, std::vector<int> const& diagnostic_ids);

/// Deletes a station's rows, then its directory, the one even when the other fails; while no storage
/// directory is set, the rows only. @return whether the rows could be deleted
bool remove_station_reports(diagnostic_table& table, report_tree const& tree, unsigned int station_id);

}  // namespace tavi::stations_maintenance
