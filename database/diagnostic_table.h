#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "diagnostic_deletions.h"
#include "mura_common/database.h"
#include "stations_maintenance/diagnostic_report.h"

namespace tavi::stations_maintenance {

/// The database's record of the diagnostic reports: one row for each report file that is kept on disk.
///
/// A row is inserted with the placeholder path 'tmp', gets its path once the file has been placed, and is
/// deleted by path or together with its station. "Oldest" means lowest `diagnostic_id`: two reports received
/// within one second keep their order. Nothing is cached; every operation goes to the database. On a database
/// error an operation logs one line and returns false, nothing or 0. There is no lock: callers take turns.
class diagnostic_table : public mura_common::DatabaseTable {
 public:
  /// @param database  must outlive the table; need not be open before `initTable`
  explicit diagnostic_table(mura_common::IDatabase& database);

  /// Creates the table if it is missing and prepares every statement. @return whether all of it succeeded
  bool init() override;
  /// There is one version of the schema so far: changes nothing. @return true
  bool update(unsigned int from_version, unsigned int& to_version) override;

  /// Adds a report, received now, with the placeholder path. @return whether the row was inserted
  bool insert_diagnostic_report(unsigned int const& station_id, std::string const& report_name,
                                diagnostic_report_type const& type, unsigned long const& size);

  /// Highest id of a station's reports, which right after an insert is the id of the new one.
  /// @return 0 for a station without reports; empty on a database error
  std::optional<std::uint32_t> get_max_diagnostic_id(unsigned int const& station_id);

  /// Stores where a report's file lies. @return whether the statement ran; an unknown id is no error
  bool update_full_path_query(unsigned int const& diagnostic_id, std::string const& full_path);

  /// Every stored path, placeholders included, in the database's order; those before the failure, with an
  /// error in the log, when one cannot be read.
  std::vector<std::string> get_all_diagnostics_path();
  /// As without the parameter. @param is_whole  set: whether every path is among the result
  std::vector<std::string> get_all_diagnostics_path(bool& is_whole);
  /// Every report, in the database's order; those before the failure, with an error in the log, when one
  /// cannot be read.
  std::vector<diagnostic_report_info> get_all_diagnostics();
  /// The reports of one station, as `get_all_diagnostics`.
  std::vector<diagnostic_report_info> get_diagnostics_of_station(unsigned int const& station_id);

  /// The oldest report, of all or of those of a station, of all its types or of one. Its `size` is not
  /// filled.
  /// @param station_id  empty: of all stations, and `type` is then ignored
  /// @param type        empty: of both types
  /// @return empty when there is none, or on a database error
  std::optional<diagnostic_report_info> get_oldest_diagnostic(std::optional<int> station_id,
                                                              std::optional<diagnostic_report_type> type);

  /// How many reports of one type a station has; 0 also on a database error.
  std::uint32_t count_stored_diagnostic_reports(unsigned int const& station_id, diagnostic_report_type type);

  /// Deletes every row of a station. @return whether the statement ran; no row to delete is no error
  bool delete_diagnostic_reports_for_station(unsigned int const& station_id);
  /// Deletes the rows with exactly this path. @return whether the statement ran; no row to delete is no error
  bool delete_diagnostic_report_for_path(std::string const& full_path);

  /// Prepares many deletions by path at once; see the result's class.
  [[nodiscard]] diagnostic_deletions begin_deletions();

  /// The stored paths of the reports with these ids, each once, in the database's order; unknown ids give
  /// none.
  std::vector<std::string> get_list_of_diagnostics_path(std::vector<int> const& diagnostic_ids);

  /// Reads the current row of a select of all columns. @return false, with `out` unchanged, when there is
  /// none
  bool fetch_diagnostic_reports(std::unique_ptr<mura_common::IQuery> const& query,
                                diagnostic_report_info& out);
  /// Executes one of the statements for the oldest report, reads its row if there is one, and resets it.
  /// @return whether it ran
  bool execute_get_oldest_diagnostic_request(std::unique_ptr<mura_common::IQuery> const& query,
                                             std::optional<diagnostic_report_info>& out);

 private:
  [[nodiscard]] bool prepare_statements();
  [[nodiscard]] std::vector<diagnostic_report_info> fetch_all(
      mura_common::statement& run, std::unique_ptr<mura_common::IQuery> const& query);
  [[nodiscard]] std::optional<diagnostic_report_info> get_oldest_of_all();
  [[nodiscard]] std::optional<diagnostic_report_info> get_oldest_of_station(int station_id);
  [[nodiscard]] std::optional<diagnostic_report_info> get_oldest_of_station_and_type(
      int station_id, diagnostic_report_type type);

  std::unique_ptr<mura_common::IQuery> insert_query;
  std::unique_ptr<mura_common::IQuery> select_by_station_query;
  std::unique_ptr<mura_common::IQuery> select_all_query;
  std::unique_ptr<mura_common::IQuery> select_all_paths_query;
  std::unique_ptr<mura_common::IQuery> max_id_query;
  std::unique_ptr<mura_common::IQuery> oldest_by_station_and_type_query;
  std::unique_ptr<mura_common::IQuery> oldest_by_station_query;
  std::unique_ptr<mura_common::IQuery> oldest_query;
  std::unique_ptr<mura_common::IQuery> update_path_query;
  std::unique_ptr<mura_common::IQuery> delete_by_path_query;
  std::unique_ptr<mura_common::IQuery> delete_by_station_query;
  std::unique_ptr<mura_common::IQuery> count_query;
};

}  // namespace tavi::stations_maintenance
