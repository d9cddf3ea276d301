#include "diagnostic_deletions.h"

#include <string>

#include <spdlog/spdlog.h>

namespace tavi::stations_maintenance {

namespace {

/// Tells it. @return false
bool fail(std::string const& error) {
  spdlog::error("[diagnostic_table] Unable to delete many diagnostic reports at once : error = {}", error);
  return false;
}

}  // namespace

diagnostic_deletions::diagnostic_deletions(mura_common::IDatabase& database) : reports(database) {
  work.emplace(database);
  // The index is there only meanwhile: a lasting one would lend its own order to the list of all paths.
  auto const has_begun = work->has_begun()
                             ? run("CREATE INDEX DiagnosticReportsByPath ON DiagnosticReports (full_path);")
                             : fail(work->error());
  if (!has_begun) {
    work.reset();
  }
}

bool diagnostic_deletions::commit() {
  if (!work) {
    return true;
  }
  auto const is_done = run("DROP INDEX DiagnosticReportsByPath;") && (work->commit() || fail(work->error()));
  work.reset();
  return is_done;
}

bool diagnostic_deletions::run(char const* sql) {
  auto const query = reports.create_query(sql);
  return mura_common::statement(query).is_done() || fail(reports.last_error());
}

}  // namespace tavi::stations_maintenance
