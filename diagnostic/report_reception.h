#pragma once

#include <string>

#include "expected_uploads.h"
#include "report_store.h"

namespace tavi::stations_maintenance {

/// Deals with one uploaded file: makes room for it, files it, uses its token up. The file is removed from
/// where it was uploaded whatever the outcome.
///
/// An empty path leaves its token expected, and an unknown token is remembered so that its further files are
/// discarded too.
/// @param file_name      the name that the station gave it
/// @param uploaded_path  where the web server put it
/// @return false, with a line in the log, for an empty path, when there is no room, or as
///         `report_filing::run`; true for an unknown token
/// @throw std::filesystem::filesystem_error  when the tree cannot be walked to its end; token and uploaded
///        file are then left as they were
bool save_uploaded_report(report_store const& store, expected_uploads& uploads, std::string const& token,
                          std::string const& file_name, std::string const& uploaded_path);

}  // namespace tavi::stations_maintenance
