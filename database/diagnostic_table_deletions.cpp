#include <spdlog/spdlog.h>

#include "diagnostic_table.h"

namespace tavi::stations_maintenance {

namespace {

// Only there while rows are deleted by path: a lasting index would lend its own order to the list of all
// paths.
constexpr char const* create_index_statement =
    "CREATE INDEX DiagnosticReportsByPath ON DiagnosticReports (full_path);";
constexpr char const* drop_index_statement = "DROP INDEX DiagnosticReportsByPath;";

}  // namespace

bool diagnostic_table::begin_deletions() {
  if (!run("BEGIN IMMEDIATE;")) {
    return false;
  }
  has_begun_deletions = run(create_index_statement);
  if (!has_begun_deletions) {
    static_cast<void>(run("ROLLBACK;"));
  }
  return has_begun_deletions;
}

bool diagnostic_table::end_deletions() {
  if (!has_begun_deletions) {
    return true;
  }
  has_begun_deletions = false;
  auto const is_done = run(drop_index_statement) && run("COMMIT;");
  if (!is_done) {
    static_cast<void>(run("ROLLBACK;"));
  }
  return is_done;
}

bool diagnostic_table::run(char const* statement) {
  auto& database = table_database();
  auto const query = database.create_query(statement);
  auto const is_done = query && query->execute();
  if (!is_done) {
    spdlog::error("[diagnostic_table] Unable to delete many diagnostic reports at once : {} error = {}",
                  statement, query ? query->last_error() : database.last_error());
  }
  return is_done;
}

}  // namespace tavi::stations_maintenance
