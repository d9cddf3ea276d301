#include "diagnostic_table.h"

#include <chrono>
#include <sstream>

#include <fmt/format.h>
#include <spdlog/spdlog.h>

namespace tavi::stations_maintenance {

using mura_common::statement;

namespace {

// The columns of a select of all columns.
constexpr int id_column = 0;
constexpr int name_column = 1;
constexpr int station_column = 2;
constexpr int timestamp_column = 3;
constexpr int type_column = 4;
constexpr int size_column = 5;

constexpr char const* create_table_statement =
    "CREATE TABLE IF NOT EXISTS DiagnosticReports ("
    "[diagnostic_id]             INTEGER,"
    "[diagnostic_name]           VARCHAR(40),"
    "[station_id]                INTEGER,"
    "[timestamp_creation]        BIGINT,"
    "[type]                      INTEGER,"
    "[size]                      BIGINT,"
    "[full_path]                 VARCHAR(255),"
    "PRIMARY KEY([diagnostic_id] AUTOINCREMENT));";

std::int64_t seconds_since_epoch() {
  auto const now = std::chrono::system_clock::now().time_since_epoch();
  return std::chrono::duration_cast<std::chrono::seconds>(now).count();
}

std::int32_t code_of(diagnostic_report_type type) {
  return static_cast<std::int32_t>(type);
}

std::string select_paths_statement(std::vector<int> const& diagnostic_ids) {
  std::ostringstream text;
  text << " SELECT full_path FROM DiagnosticReports WHERE diagnostic_id IN(";
  char const* separator = "";
  for (auto const id : diagnostic_ids) {
    text << separator << id;
    separator = ",";
  }
  text << ");";
  return text.str();
}

diagnostic_report_info report_without_size(mura_common::IQuery const& query) {
  diagnostic_report_info report;
  report.diagnostic_id = query.get_uint32(id_column);
  report.diagnostic_name = query.get_text(name_column);
  report.station_id = query.get_uint32(station_column);
  report.timestamp_creation = query.get_int64(timestamp_column);
  report.type = static_cast<diagnostic_report_type>(query.get_int32(type_column));
  return report;
}

}  // namespace

diagnostic_table::diagnostic_table(mura_common::IDatabase& database)
    : DatabaseTable(database, "diagnostic_table", 1) {
}

bool diagnostic_table::init() {
  spdlog::info("[diagnostic_table] Init database");
  auto& database = table_database();
  auto const create = database.create_query(create_table_statement);
  if (!create) {
    spdlog::error("[diagnostic_table] Unable to create diagnostic report table query : error = {}",
                  database.last_error());
    return false;
  }
  if (statement const creation(create); creation.has_failed()) {
    spdlog::error("[diagnostic_table] Unable to create diagnostic table : error = {}", creation.error());
    return false;
  }
  if (!prepare_statements()) {
    spdlog::critical("[diagnostic_table] Error while create queries for DiagnosticReports table, error = {}",
                     database.last_error());
    return false;
  }
  spdlog::info("[diagnostic_table] Table DiagnosticReports created successfully");
  return true;
}

bool diagnostic_table::prepare_statements() {
  auto& database = table_database();
  insert_query = database.create_query("INSERT INTO DiagnosticReports VALUES(NULL,?, ?, ?, ?, ?,'tmp');");
  update_path_query =
      database.create_query("UPDATE DiagnosticReports SET full_path = ? WHERE diagnostic_id = ?;");
  max_id_query =
      database.create_query("SELECT max(diagnostic_id) FROM DiagnosticReports WHERE station_id=?;");
  delete_by_path_query = database.create_query("DELETE FROM DiagnosticReports WHERE full_path IS ?;");
  delete_by_station_query = database.create_query("DELETE FROM DiagnosticReports WHERE station_id IS ?;");
  select_by_station_query = database.create_query("SELECT * FROM DiagnosticReports WHERE station_id IS ?;");
  select_all_query = database.create_query("SELECT * FROM DiagnosticReports ;");
  select_all_paths_query = database.create_query("SELECT full_path FROM DiagnosticReports;");
  count_query = database.create_query(
      "SELECT COUNT(diagnostic_id) FROM DiagnosticReports WHERE station_id=? AND type=?;");
  oldest_by_station_and_type_query = database.create_query(
      "SELECT * FROM DiagnosticReports WHERE station_id IS ? and type IS ? ORDER BY (diagnostic_id) ASC "
      "LIMIT 1;");
  oldest_by_station_query = database.create_query(
      "SELECT * FROM DiagnosticReports WHERE station_id IS ? ORDER BY (diagnostic_id) ASC LIMIT 1;");
  oldest_query =
      database.create_query("SELECT * FROM DiagnosticReports ORDER BY (diagnostic_id) ASC LIMIT 1;");
  return insert_query && update_path_query && max_id_query && delete_by_path_query &&
         delete_by_station_query && select_by_station_query && select_all_query && select_all_paths_query &&
         count_query && oldest_by_station_and_type_query && oldest_by_station_query && oldest_query;
}

bool diagnostic_table::update(unsigned int /*from_version*/, unsigned int& /*to_version*/) {
  return true;
}

bool diagnostic_table::insert_diagnostic_report(unsigned int const& station_id,
                                                std::string const& report_name,
                                                diagnostic_report_type const& type,
                                                unsigned long const& size) {
  // The select stands for all statements here: they are prepared together, the insert among them.
  if (!select_by_station_query) {
    return false;
  }
  statement const insertion(insert_query, report_name, station_id, seconds_since_epoch(), code_of(type),
                            std::uint64_t{size});
  if (insertion.has_failed()) {
    spdlog::error("[diagnostic_table] Unable to store new diagnostic report : error = {}", insertion.error());
  }
  return insertion.is_done();
}

std::optional<std::uint32_t> diagnostic_table::get_max_diagnostic_id(unsigned int const& station_id) {
  statement const highest(*max_id_query, station_id);
  if (highest.has_failed()) {
    spdlog::error("[diagnostic_table] Unable to get max diagnostic report i: error = {}", highest.error());
  }
  return highest.number();
}

bool diagnostic_table::update_full_path_query(unsigned int const& diagnostic_id,
                                              std::string const& full_path) {
  auto const updated = statement(update_path_query, full_path, diagnostic_id).is_done();
  if (!updated) {
    // The number is the report's, whatever the text calls it: operators' searches rely on the wording.
    spdlog::error("[diagnostic_table] Unable to update diagnostic path for station {}", diagnostic_id);
  }
  return updated;
}

std::vector<std::string> diagnostic_table::get_all_diagnostics_path() {
  bool is_whole = false;
  return get_all_diagnostics_path(is_whole);
}

std::vector<std::string> diagnostic_table::get_all_diagnostics_path(bool& is_whole) {
  statement all(select_all_paths_query);
  auto paths = all.texts();
  is_whole = all.is_done();
  if (all.has_failed()) {
    spdlog::error("[diagnostic_table] Can't get any diagnostic path : error = {}", all.error());
  }
  if (select_all_paths_query && paths.empty()) {
    spdlog::info("[diagnostic_table] There is not any diagnostic reports");
  }
  return paths;
}

std::vector<diagnostic_report_info> diagnostic_table::get_all_diagnostics() {
  statement all(select_all_query);
  auto reports = fetch_all(all, select_all_query);
  if (all.has_failed()) {
    spdlog::error("[diagnostic_table] Can't get any diagnostic : error = {}", all.error());
  }
  if (select_all_query && reports.empty()) {
    spdlog::info("[diagnostic_table] There is not any diagnostic reports");
  }
  return reports;
}

std::vector<diagnostic_report_info> diagnostic_table::get_diagnostics_of_station(
    unsigned int const& station_id) {
  statement of_station(select_by_station_query, station_id);
  auto reports = fetch_all(of_station, select_by_station_query);
  if (of_station.has_failed()) {
    spdlog::error("[diagnostic_table] Can't get diagnostics of stations {} : error = {}", station_id,
                  of_station.error());
  }
  if (select_by_station_query && reports.empty()) {
    // An error here, though information for all reports: whoever asks for one station expects some.
    spdlog::error("[diagnostic_table] There is not any diagnostic reports found for station {}", station_id);
  }
  return reports;
}

std::vector<diagnostic_report_info> diagnostic_table::fetch_all(
    statement& run, std::unique_ptr<mura_common::IQuery> const& query) {
  return run.rows([&](mura_common::IQuery const& /*current*/) {
    diagnostic_report_info report;
    fetch_diagnostic_reports(query, report);
    return report;
  });
}

bool diagnostic_table::fetch_diagnostic_reports(std::unique_ptr<mura_common::IQuery> const& query,
                                                diagnostic_report_info& out) {
  if (!query || !query->has_row()) {
    return false;
  }
  out = report_without_size(*query);
  out.size = query->get_uint32(size_column);
  return true;
}

bool diagnostic_table::execute_get_oldest_diagnostic_request(
    std::unique_ptr<mura_common::IQuery> const& query, std::optional<diagnostic_report_info>& out) {
  statement const oldest(*query);
  if (auto report = oldest.row(report_without_size)) {
    out = std::move(report);
  }
  return oldest.is_done();
}

std::optional<diagnostic_report_info> diagnostic_table::get_oldest_diagnostic(
    std::optional<int> station_id, std::optional<diagnostic_report_type> type) {
  if (!station_id) {
    return get_oldest_of_all();
  }
  return type ? get_oldest_of_station_and_type(*station_id, *type) : get_oldest_of_station(*station_id);
}

std::optional<diagnostic_report_info> diagnostic_table::get_oldest_of_all() {
  std::optional<diagnostic_report_info> oldest;
  if (!execute_get_oldest_diagnostic_request(oldest_query, oldest)) {
    spdlog::error("[diagnostic_table] Can't get oldest diagnostic");
  } else if (!oldest) {
    spdlog::info("[diagnostic_table] No diagnostics found");
  }
  return oldest;
}

std::optional<diagnostic_report_info> diagnostic_table::get_oldest_of_station(int station_id) {
  std::optional<diagnostic_report_info> oldest;
  oldest_by_station_query->bind_int32(0, station_id);
  if (!execute_get_oldest_diagnostic_request(oldest_by_station_query, oldest)) {
    spdlog::error("[diagnostic_table] Can't get oldest diagnostic for station {}", station_id);
  } else if (!oldest) {
    spdlog::info("[diagnostic_table] No diagnostics found for station = {}", station_id);
  }
  return oldest;
}

std::optional<diagnostic_report_info> diagnostic_table::get_oldest_of_station_and_type(
    int station_id, diagnostic_report_type type) {
  std::optional<diagnostic_report_info> oldest;
  oldest_by_station_and_type_query->bind_int32(0, station_id);
  oldest_by_station_and_type_query->bind_int32(1, code_of(type));
  auto const& type_name = diagnostic_report_type_helper::name_of(type);
  if (!execute_get_oldest_diagnostic_request(oldest_by_station_and_type_query, oldest)) {
    spdlog::error("[diagnostic_table] Can't get oldest diagnostic for station {} and type {}", station_id,
                  type_name);
  } else if (!oldest) {
    spdlog::info("[diagnostic_table] No diagnostics found for station = {} and type = {}", station_id,
                 type_name);
  }
  return oldest;
}

std::uint32_t diagnostic_table::count_stored_diagnostic_reports(unsigned int const& station_id,
                                                                diagnostic_report_type type) {
  count_query->bind_int32(1, code_of(type));
  statement const count(*count_query, station_id);
  if (count.has_failed()) {
    spdlog::error("[diagnostic_table] Unable to count diagnostic of station{} : error = {}", station_id,
                  count.error());
  }
  return count.number().value_or(0);
}

bool diagnostic_table::delete_diagnostic_reports_for_station(unsigned int const& station_id) {
  statement const deletion(delete_by_station_query, station_id);
  if (deletion.has_failed()) {
    spdlog::error("[diagnostic_table] Can't delete diagnostic reports of station {}, error = {}", station_id,
                  deletion.error());
  }
  return deletion.is_done();
}

bool diagnostic_table::delete_diagnostic_report_for_path(std::string const& full_path) {
  statement const deletion(delete_by_path_query, full_path);
  if (deletion.has_failed()) {
    spdlog::error("[diagnostic_table] Can't delete diagnostic report for path {}, error = {}", full_path,
                  deletion.error());
  }
  return deletion.is_done();
}

diagnostic_deletions diagnostic_table::begin_deletions() {
  return diagnostic_deletions(table_database());
}

std::vector<std::string> diagnostic_table::get_list_of_diagnostics_path(
    std::vector<int> const& diagnostic_ids) {
  if (diagnostic_ids.empty()) {
    spdlog::info("[diagnostic_table] There is no diagnostic report ID to look for");
    return {};
  }
  auto& database = table_database();
  auto const text = select_paths_statement(diagnostic_ids);
  auto const query = database.create_query(text);
  if (!query) {
    spdlog::critical(
        "[diagnostic_table] Error while creating select diagnostic reports names  query ({}) => query = {}",
        database.last_error(), text);
  }
  statement chosen(query);
  auto paths = chosen.texts();
  if (chosen.has_failed()) {
    spdlog::critical(
        "[diagnostic_table] Error while executing select diagnostic reports names ({}) => query = {}",
        database.last_error(), text);
  }
  return paths;
}

}  // namespace tavi::stations_maintenance
