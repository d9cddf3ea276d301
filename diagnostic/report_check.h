#pragma once

#include <cstdint>
#include <system_error>

#include "diagnostic_table.h"
#include "report_tree.h"
#include "tavi/ocpp1_6/i_req_resp_ocpp_1_6_service.h"

namespace tavi::stations_maintenance {

/// Brings rows, storage tree and the stations that the OCPP service knows into agreement, by deleting only:
/// rows without a file, files without a row, and all that belongs to unknown stations.
///
/// For the start, before anything else works on tree or table. Each deletion and each failure has a line in
/// the log, and nothing stops the check but the exception below. An empty list of stations makes every report
/// one of an unknown station. The cost grows linearly with rows and files.
/// @throw std::filesystem::filesystem_error  when the tree cannot be walked to its end; rows without a file
/// are deleted by then, nothing else is
void check_reports(diagnostic_table& table, report_tree const& tree,
                   tavi::ocpp1_6::i_req_resp_ocpp_1_6_service& ocpp_service);

/// Says that the directory of a station that no longer exists could not be removed, when nothing was there to
/// be removed; a removal that failed is not told.
/// @param removed  how many entries went; the largest number when the removal failed, perhaps half-way
/// @param error    of the removal
void complain_of_removal(unsigned int station_id, std::uintmax_t removed, std::error_code const& error);

}  // namespace tavi::stations_maintenance
