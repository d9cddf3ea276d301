#pragma once

#include <string>
#include <vector>

#include "diagnostic_table.h"
#include "report_tree.h"
#include "stations_maintenance/result_codes.h"

namespace tavi::stations_maintenance {

/// Deletes a report's file, then its row, the one even when the other fails.
/// @return whether both were deleted
bool remove_report(diagnostic_table& table, std::string const& full_path);

/// Deletes the chosen reports; one that fails stops no other. Unknown ids are skipped.
delete_reports_result remove_reports(diagnostic_table& table, std::vector<int> const& diagnostic_ids);

/// Deletes a station's rows, then its directory, the one even when the other fails; while no storage
/// directory is set, the rows only. @return whether the rows could be deleted
bool remove_station_reports(diagnostic_table& table, report_tree const& tree, unsigned int station_id);

}  // namespace tavi::stations_maintenance
