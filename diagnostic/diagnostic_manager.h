#pragma once

#include <atomic>
#include <chrono>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "diagnostic_table.h"
#include "expected_uploads.h"
#include "mura_common/timer.h"
#include "stations_maintenance/diagnostic_report.h"
#include "stations_maintenance/result_codes.h"
#include "tavi/logger/i_logger.h"
#include "tavi/network/i_req_resp_network_service.h"
#include "tavi/ocpp1_6/i_req_resp_ocpp_1_6_service.h"
#include "tavi/stations/charging_station.h"
#include "tavi/webserver_token/i_req_resp_webserver_token_service.h"

namespace tavi::stations_maintenance {

struct diagnostic_report_filter;
struct report_generation;
struct report_store;
class report_tree;

/// Owns everything the service knows about diagnostic reports: limits, storage tree, uploads expected, timer.
///
/// Constructed with all limits 0, so that nothing may be generated until `init` has run; then periodic
/// generation is started and stopped at will. A station that accepts a request leaves an expected upload
/// behind, which the upload with its token uses up. Expected uploads live in memory only: a token handed out
/// before a restart is not recognised afterwards.
///
/// It holds the data; each rule has a room of its own, named at the operation that leads to it, and takes
/// from here what it needs for one call.
///
/// Requests and events come one at a time. The periodic timer's thread runs beside them and meets them at the
/// expected uploads (guarded) and at the limits and flags (atomic).
class diagnostic_manager {
 public:
  /// Stores the references; all of them must outlive the manager. Nothing is called.
  diagnostic_manager(diagnostic_table& table,
                     tavi::webserver_token::i_req_resp_webserver_token_service& tokens,
                     tavi::ocpp1_6::i_req_resp_ocpp_1_6_service& ocpp,
                     tavi::network::i_req_resp_network_service& network, tavi::logger::i_logger& logger);
  /// Stops periodic generation and waits for a run in progress, which ends at its current station.
  virtual ~diagnostic_manager();
  diagnostic_manager(diagnostic_manager const&) = delete;
  diagnostic_manager& operator=(diagnostic_manager const&) = delete;

  /// Takes the configuration over and makes sure that the storage directory exists.
  ///
  /// A relative storage directory is looked for in the current directory, but made below the working
  /// directory; the service keeps the two the same.
  /// @param max_periodic    most periodic reports kept for a station; 0 blocks their generation
  /// @param max_manual      most manual reports kept for a station; 0 blocks their generation
  /// @param period          of automatic generation; below one second there is none
  /// @param max_total_size  budget in bytes for all stored reports; their sum stays below it
  /// @param storage         directory of the reports, below `working`; an absolute one is taken as it is
  /// @param zip, zsh        commands of the export
  /// @param working         the service's working directory
  /// @return false, with a line in the log, when the directory neither exists nor could be made
  [[nodiscard]] bool init(unsigned int max_periodic, unsigned int max_manual, std::chrono::seconds period,
                          std::uint64_t max_total_size, std::string const& storage, std::string const& zip,
                          std::string const& zsh, std::string const& working);

  // --- configuration in force -----------------------------------------------------------------------------

  /// Most periodic reports kept for a station. From any thread.
  [[nodiscard]] unsigned int get_max_periodic_report() const { return max_periodic_reports; }
  /// Whether periodic reports may be asked for, as `is_generation_allowed`. From any thread.
  [[nodiscard]] bool is_periodic_generation_allowed() const { return periodic_generation_allowed; }
  /// Period of automatic generation; below one second there is none. From any thread.
  [[nodiscard]] std::chrono::seconds get_generation_period() const { return generation_period; }
  /// Directory of the reports as it was configured; changes in `init` only, and lives as long as the manager.
  [[nodiscard]] std::string const& get_storage_directory() const { return storage_directory; }

  // --- generation -----------------------------------------------------------------------------------------

  /// Arms the timer that asks every station for a report each period (`periodic_generation.h`); with a period
  /// below one second it only says that there is none. @return false when the timer could not be started
  bool start_periodic_generation();
  /// Stops the timer; a run in progress goes on. @return the timer's answer
  bool stop_periodic_generation();
  /// Stores a new period and starts periodic generation with it. @return false when the timer could not be
  /// stopped (the old period is kept) or not be started
  bool update_period_generation(std::chrono::seconds const& period);
  /// Stores the most periodic reports kept for a station; 0 blocks their generation. The timer is left alone.
  void update_max_periodic_diagnostic(unsigned int const& max);
  /// Stores the most manual reports kept for a station; 0 blocks their generation.
  void update_max_manual_diagnostic(unsigned int const& max);
  /// Whether reports of this type may be asked for; false for a value that is no type.
  [[nodiscard]] bool is_generation_allowed(diagnostic_report_type type) const;
  /// Whether a station with this status may be asked: not while it uploads, nor with a status not known here.
  [[nodiscard]] static bool is_upload_allowed(tavi::stations::station_diagnostics_status status);

  /// Asks one station for a report and expects its upload: `report_generation::generate`.
  generation_result generate_diagnostic(unsigned int station_id, diagnostic_report_type const& type,
                                        std::string const& address, unsigned int& request_out);
  /// Asks every station whose status allows it: `report_generation::generate_all`.
  bool generate_all_diagnostics(diagnostic_report_type const& type);
  /// Asks one station if configuration and its status allow it: `report_generation::generate_if_allowed`.
  generation_result generate_single_diagnostic(unsigned int station_id, diagnostic_report_type const& type,
                                               unsigned int& request_out);

  // --- reception ------------------------------------------------------------------------------------------

  /// Whether an upload with exactly this token is expected.
  [[nodiscard]] bool is_my_token(std::string const& token) const;
  /// Files an uploaded report: `save_uploaded_report`.
  bool save_file(std::string const& token, std::string const& file_name, std::string const& uploaded_path);
  /// Whether the station of this token has reached its count limit for the type of report expected. A token
  /// that is not known is known from then on, as one of station 0.
  [[nodiscard]] bool is_too_many_diag_for_station(std::string const& token);
  /// Whether `size` more bytes leave the storage tree below its budget: `has_room_for`.
  [[nodiscard]] bool verif_size(unsigned long size) const;
  /// Deletes the oldest report, of all or of one station, of both types or of one: `remove_oldest`.
  bool remove_oldest_report(std::optional<int> station_id, std::optional<diagnostic_report_type> type);

  // --- queries, removal, export ---------------------------------------------------------------------------

  /// The stored reports, of all stations or of one, in the database's order.
  /// @param station_id  empty: of all stations
  /// @return empty, with a line in the log, when the OCPP service does not know the station; an empty list
  /// when there are no reports, and also on a database error
  [[nodiscard]] std::optional<std::vector<diagnostic_report_info>> get_diagnostic_reports(
      std::optional<unsigned int const> station_id);
  /// Deletes the chosen reports, file and row: `remove_reports`.
  delete_reports_result remove_diagnostic_reports(diagnostic_report_filter const& filter);
  /// Packs the files of the chosen reports into an archive: `report_export::write`. Unknown ids are skipped.
  bool export_diagnostic_reports(diagnostic_report_filter const& filter, std::string const& destination);

  // --- agreement of disk and database ---------------------------------------------------------------------

  /// Brings rows, storage tree and stations into agreement: `check_reports`.
  void check_sanity();

  // --- storage layout (`report_tree`) and removal (`report_removal.h`) -------------------------------------

  /// The directory of a station.
  [[nodiscard]] std::string get_directory_path_station_name(unsigned int const& station_id) const;
  /// The directory of a station's reports of one type, with "/" at its end; the station's own for any other
  /// value.
  [[nodiscard]] std::string get_specific_diagnostic_path(unsigned int const& station_id,
                                                         diagnostic_report_type type) const;
  /// The file of a report. @param index  its `diagnostic_id`; empty for a name without a number before it
  [[nodiscard]] std::string get_full_path(unsigned int const& station_id, diagnostic_report_type const& type,
                                          std::optional<int> const& index,
                                          std::string const& file_name) const;
  /// Makes the directories of a station, unless its own exists already. @return whether all of them were
  /// made; false too, with nothing made, while no storage directory is set
  bool create_diagnostic_directory_for_station(unsigned int const& station_id);
  /// Deletes a station's rows and its directory; while no storage directory is set, the rows only.
  /// @return whether the rows could be deleted
  bool remove_station(unsigned int const& station_id);
  /// Deletes a report's file and its row, the one even when the other fails. @return whether both were
  /// deleted
  bool remove_diagnostic(std::string const& full_path);

 private:
  [[nodiscard]] report_tree tree() const;
  [[nodiscard]] report_store store() const;
  [[nodiscard]] report_generation generation_of(diagnostic_report_type type);

  std::string const station_dir_prefix = "station_";
  diagnostic_table& diag_table;
  tavi::webserver_token::i_req_resp_webserver_token_service& webserver_token_service;
  tavi::ocpp1_6::i_req_resp_ocpp_1_6_service& ocpp_service;
  tavi::network::i_req_resp_network_service& network_service;
  tavi::logger::i_logger& logger_service;
  class expected_uploads expected_uploads;
  std::uint64_t max_total_directory_size = 0;
  std::string working_dir;
  std::atomic<bool> is_stopping = false;
  mura_common::Timer periodic_timer;
  std::atomic<bool> periodic_generation_allowed = false;
  std::atomic<bool> manual_generation_allowed = false;
  std::string storage_directory;
  std::atomic<unsigned int> max_periodic_reports = 0;
  std::atomic<unsigned int> max_manual_reports = 0;
  std::atomic<std::chrono::seconds> generation_period = std::chrono::seconds(0);
  std::string zip_command;
  std::string zsh_command;
};

}  // namespace tavi::stations_maintenance
