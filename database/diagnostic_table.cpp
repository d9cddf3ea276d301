#include "diagnostic_table.h"

#include <chrono>
#include <sstream>

#include <fmt/format.h>
#include <spdlog/spdlog.h>

namespace tavi::stations_maintenance {

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

std::string path_of_row(mura_common::IQuery const& query) {
  return query.get_text(0);
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
  if (!create->execute()) {
    spdlog::error("[diagnostic_table] Unable to create diagnostic table : error = {}", create->last_error());
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
  insert_query->bind_text(0, report_name);
  insert_query->bind_uint32(1, station_id);
  insert_query->bind_int64(2, seconds_since_epoch());
  insert_query->bind_int32(3, code_of(type));
  insert_query->bind_uint64(4, size);
  auto const inserted = insert_query->execute();
  if (!inserted) {
    spdlog::error("[diagnostic_table] Unable to store new diagnostic report : error = {}",
                  insert_query->last_error());
  }
  insert_query->reset();
  return inserted;
}

std::optional<std::uint32_t> diagnostic_table::get_max_diagnostic_id(unsigned int const& station_id) {
  std::optional<std::uint32_t> id;
  max_id_query->bind_uint32(0, station_id);
  if (!max_id_query->execute()) {
    spdlog::error("[diagnostic_table] Unable to get max diagnostic report i: error = {}",
                  max_id_query->last_error());
  } else if (max_id_query->has_row()) {
    id = max_id_query->get_uint32(0);
  }
  max_id_query->reset();
  return id;
}

bool diagnostic_table::update_full_path_query(unsigned int const& diagnostic_id,
                                              std::string const& full_path) {
  auto updated = false;
  if (update_path_query) {
    update_path_query->bind_text(0, full_path);
    update_path_query->bind_uint32(1, diagnostic_id);
    updated = update_path_query->execute();
    update_path_query->reset();
  }
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
  is_whole = false;
  if (!select_all_paths_query) {
    return {};
  }
  if (!select_all_paths_query->execute()) {
    spdlog::error("[diagnostic_table] Can't get any diagnostic path : error = {}",
                  select_all_paths_query->last_error());
  }
  if (!select_all_paths_query->has_row()) {
    spdlog::info("[diagnostic_table] There is not any diagnostic reports");
  }
  auto paths = mura_common::fetchRows(*select_all_paths_query, path_of_row);
  is_whole = select_all_paths_query->last_error().empty();
  select_all_paths_query->reset();
  return paths;
}

std::vector<diagnostic_report_info> diagnostic_table::get_all_diagnostics() {
  if (!select_all_query) {
    return {};
  }
  if (!select_all_query->execute()) {
    spdlog::error("[diagnostic_table] Can't get any diagnostic : error = {}", select_all_query->last_error());
  }
  if (!select_all_query->has_row()) {
    spdlog::info("[diagnostic_table] There is not any diagnostic reports");
  }
  return fetch_all_and_reset(select_all_query);
}

std::vector<diagnostic_report_info> diagnostic_table::get_diagnostics_of_station(
    unsigned int const& station_id) {
  if (!select_by_station_query) {
    return {};
  }
  select_by_station_query->bind_uint32(0, station_id);
  if (!select_by_station_query->execute()) {
    spdlog::error("[diagnostic_table] Can't get diagnostics of stations {} : error = {}", station_id,
                  select_by_station_query->last_error());
  }
  if (!select_by_station_query->has_row()) {
    // An error here, though information for all reports: whoever asks for one station expects some.
    spdlog::error("[diagnostic_table] There is not any diagnostic reports found for station {}", station_id);
  }
  return fetch_all_and_reset(select_by_station_query);
}

std::vector<diagnostic_report_info> diagnostic_table::fetch_all_and_reset(
    std::unique_ptr<mura_common::IQuery> const& query) {
  auto reports = mura_common::fetchRows(*query, [&](mura_common::IQuery const& /*current*/) {
    diagnostic_report_info report;
    fetch_diagnostic_reports(query, report);
    return report;
  });
  query->reset();
  return reports;
}

bool diagnostic_table::fetch_diagnostic_reports(std::unique_ptr<mura_common::IQuery> const& query,
                                                diagnostic_report_info& out) {
  if (!query || !query->has_row()) {
    return false;
  }
  out.diagnostic_id = query->get_uint32(id_column);
  out.diagnostic_name = query->get_text(name_column);
  out.station_id = query->get_uint32(station_column);
  out.timestamp_creation = query->get_int64(timestamp_column);
  out.type = static_cast<diagnostic_report_type>(query->get_int32(type_column));
  out.size = query->get_uint32(size_column);
  return true;
}

bool diagnostic_table::execute_get_oldest_diagnostic_request(
    std::unique_ptr<mura_common::IQuery> const& query, std::optional<diagnostic_report_info>& out) {
  auto const executed = query->execute();
  if (executed && query->has_row()) {
    out.emplace();
    out->diagnostic_id = query->get_uint32(id_column);
    out->diagnostic_name = query->get_text(name_column);
    out->station_id = query->get_uint32(station_column);
    out->timestamp_creation = query->get_int64(timestamp_column);
    out->type = static_cast<diagnostic_report_type>(query->get_int32(type_column));
  }
  query->reset();
  return executed;
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
  std::uint32_t count = 0;
  count_query->bind_int32(1, code_of(type));
  count_query->bind_uint32(0, station_id);
  if (!count_query->execute()) {
    spdlog::error("[diagnostic_table] Unable to count diagnostic of station{} : error = {}", station_id,
                  count_query->last_error());
  } else if (count_query->has_row()) {
    count = count_query->get_uint32(0);
  }
  count_query->reset();
  return count;
}

bool diagnostic_table::delete_diagnostic_reports_for_station(unsigned int const& station_id) {
  if (!delete_by_station_query) {
    return false;
  }
  delete_by_station_query->bind_uint32(0, station_id);
  auto const deleted = delete_by_station_query->execute();
  if (!deleted) {
    spdlog::error("[diagnostic_table] Can't delete diagnostic reports of station {}, error = {}", station_id,
                  delete_by_station_query->last_error());
  }
  delete_by_station_query->reset();
  return deleted;
}

bool diagnostic_table::delete_diagnostic_report_for_path(std::string const& full_path) {
  if (!delete_by_path_query) {
    return false;
  }
  delete_by_path_query->bind_text(0, full_path);
  auto const deleted = delete_by_path_query->execute();
  if (!deleted) {
    spdlog::error("[diagnostic_table] Can't delete diagnostic report for path {}, error = {}", full_path,
                  delete_by_path_query->last_error());
  }
  delete_by_path_query->reset();
  return deleted;
}

std::vector<std::string> diagnostic_table::get_list_of_diagnostics_path(
    std::vector<int> const& diagnostic_ids) {
  if (diagnostic_ids.empty()) {
    spdlog::info("[diagnostic_table] There is no diagnostic report ID to look for");
    return {};
  }
  auto& database = table_database();
  auto const statement = select_paths_statement(diagnostic_ids);
  auto const query = database.create_query(statement);
  if (!query) {
    spdlog::critical(
        "[diagnostic_table] Error while creating select diagnostic reports names  query ({}) => query = {}",
        database.last_error(), statement);
    return {};
  }
  if (!query->execute()) {
    spdlog::critical(
        "[diagnostic_table] Error while executing select diagnostic reports names ({}) => query = {}",
        database.last_error(), statement);
  }
  auto paths = mura_common::fetchRows(*query, path_of_row);
  query->reset();
  return paths;
}

}  // namespace tavi::stations_maintenance
