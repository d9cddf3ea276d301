#pragma once

#include <atomic>
#include <chrono>
#include <cstdint>
#include <map>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

#include "diagnostic_table.h"
#include "expected_report_type.h"
#include "mura_common/timer.h"
#include "stations_maintenance/diagnostic_report.h"
#include "tavi/logger/i_logger.h"
#include "tavi/network/i_req_resp_network_service.h"
#include "tavi/ocpp1_6/i_req_resp_ocpp_1_6_service.h"
#include "tavi/stations/charging_station.h"
#include "tavi/webserver_token/i_req_resp_webserver_token_service.h"

namespace tavi::stations_maintenance {

struct diagnostic_report_filter;

/// Owns everything the service knows about diagnostic reports: limits, storage tree, uploads expected, timer.
///
/// Constructed with all limits 0, so that nothing may be generated until `init` has run; then periodic
/// generation is started and stopped at will. A station that accepts a request leaves an expected upload
/// behind, which the upload with its token uses up. Expected uploads live in memory only: a token handed out
/// before a restart is not recognised afterwards.
///
/// The tree is `<working dir>/<storage directory>/station_<id>/periodic_reports/` and `.../manual_reports/`;
/// a report's file is `<diagnostic id>_<uploaded name>`. The tree is the only truth about sizes.
///
/// Requests and events come one at a time. The periodic timer's thread runs beside them and meets them at the
/// expected uploads (guarded, never during a call to another service) and at the limits and flags (atomic).
class diagnostic_manager {
 public:
  /// Outcome of a single generation other than 0, accepted: the OCPP service does not know the station.
  static constexpr std::uint32_t unknown_station = 1;
  /// The station is not connected.
  static constexpr std::uint32_t not_connected = 2;
  /// Blocked by the configuration or the station's status, no token, no network configuration, no answer.
  static constexpr std::uint32_t generation_failed = 0xFFFFFFFF;

  /// Outcome of a removal other than 0, every chosen report deleted: the filter matched no report.
  static constexpr std::uint32_t nothing_to_remove = 1;
  /// At least one chosen report could not be deleted.
  static constexpr std::uint32_t not_all_removed = 2;

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

  /// Arms the timer that asks every station for a report each period; with a period below one second it only
  /// says that there is none. @return false when the timer could not be started
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

  /// Asks one station for a report and expects its upload. @param address  the controller's, as stations
  /// reach it
  /// @param request_out  number of the request, filled by the OCPP service
  /// @return 0, or one of the outcomes above
  std::uint32_t generate_diagnostic(unsigned int station_id, diagnostic_report_type const& type,
                                    std::string const& address, unsigned int& request_out);
  /// Asks every station whose status allows it; one that fails stops no other.
  /// @return false when generation is blocked or a station that was asked did not accept
  bool generate_all_diagnostics(diagnostic_report_type const& type);
  /// Asks one station on request, if configuration and the station's status allow it. @return as
  /// `generate_diagnostic`
  std::uint32_t generate_single_diagnostic(unsigned int station_id, diagnostic_report_type const& type,
                                           unsigned int& request_out);

  // --- reception ------------------------------------------------------------------------------------------

  /// Whether an upload with exactly this token is expected.
  [[nodiscard]] bool is_my_token(std::string const& token) const;
  /// Files an uploaded report: makes room by evicting the oldest, records it, copies it into its station's
  /// directory. The uploaded file is removed and the token used up, whatever the outcome; but an empty path
  /// leaves the token expected, and an unknown token is remembered so that its further files are discarded
  /// too.
  /// @param token          under which it was uploaded
  /// @param file_name      the name that the station gave it
  /// @param uploaded_path  where the web server put it
  /// @return false for an empty path, when there is no room, the station's directory cannot be made, or the
  /// path
  ///         cannot be stored; true otherwise, which is also the answer to an unknown token and to a failed
  ///         copy
  /// @throw std::filesystem::filesystem_error  as `verif_size`; token and uploaded file are then left as they
  ///         were
  bool save_file(std::string const& token, std::string const& file_name, std::string const& uploaded_path);
  /// Whether the station of this token has reached its count limit for the type of report expected.
  [[nodiscard]] bool is_too_many_diag_for_station(std::string const& token);
  /// Whether `size` more bytes leave the storage tree below its budget.
  /// @throw std::filesystem::filesystem_error  when the tree cannot be walked to its end
  [[nodiscard]] bool verif_size(unsigned long size) const;
  /// Deletes the oldest report, of all or of one station, of both types or of one. @return whether file and
  /// row are gone; false too when the file was missing already, though its row is deleted then
  bool remove_oldest_report(std::optional<int> station_id, std::optional<diagnostic_report_type> type);

  // --- queries, removal, export ---------------------------------------------------------------------------

  /// The stored reports, of all stations or of one, in the database's order.
  /// @param station_id  empty: of all stations
  /// @return empty, with a line in the log, when the OCPP service does not know the station; an empty list
  /// when there are no reports, and also on a database error
  [[nodiscard]] std::optional<std::vector<diagnostic_report_info>> get_diagnostic_reports(
      std::optional<unsigned int const> station_id);
  /// Deletes the chosen reports, file and row; one that fails stops no other. Unknown ids are skipped.
  /// @return 0, or one of the outcomes above; a report whose file was missing already counts as not deleted,
  /// though its row is gone then
  std::uint32_t remove_diagnostic_reports(diagnostic_report_filter const& filter);
  /// Packs the files of the chosen reports into a zip archive, fifty with each call of the archiver. An
  /// archive that exists gains them. Unknown ids are skipped. Waits for the archiver.
  /// @param destination  the archive; a relative path begins at the working directory
  /// @return whether at least one call of the archiver succeeded: the archive may then still lack the files
  /// of another call; false too when the filter matched no report
  bool export_diagnostic_reports(diagnostic_report_filter const& filter, std::string const& destination);

  // --- agreement of disk and database ---------------------------------------------------------------------

  /// Brings the rows, the storage tree and the stations that the OCPP service knows into agreement, by
  /// deleting only: rows without a file, files without a row, and all that belongs to unknown stations.
  ///
  /// For the start, before anything else works on the tree or the table. Each deletion and each failure has
  /// a line in the log, and nothing stops the check but the exception below. An empty list of stations makes
  /// every report one of an unknown station. Its cost grows linearly with rows and files, but for one look
  /// through the table for each row without a file.
  /// @throw std::filesystem::filesystem_error  when the tree cannot be walked to its end; rows without a file
  /// are deleted by then, nothing else is
  void check_sanity();

  // --- storage layout -------------------------------------------------------------------------------------

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
  struct upload;
  struct generation_run;
  void write_functional_log(tavi::logger::log_subtype subtype, std::string const& text);
  [[nodiscard]] generation_run ask_all(diagnostic_report_type type,
                                       std::vector<tavi::stations::charging_station> const& stations,
                                       std::string const& address);
  [[nodiscard]] expected_report_type expected_upload(std::string const& token);
  bool discard_unknown_upload(std::string const& uploaded_path, bool result);
  [[nodiscard]] bool file_upload(upload const& one);
  [[nodiscard]] bool make_room(upload const& one);
  [[nodiscard]] bool place_file(upload const& one, std::uint32_t id);
  void delete_rows_without_file(std::vector<std::string> const& recorded);
  static void delete_files_without_row(std::vector<std::string> const& files,
                                       std::vector<std::string> const& recorded);
  void delete_reports_of_unknown_stations();
  bool delete_unknown_station(unsigned int station_id);

  std::string const station_dir_prefix = "station_";
  diagnostic_table& diag_table;
  tavi::webserver_token::i_req_resp_webserver_token_service& webserver_token_service;
  tavi::ocpp1_6::i_req_resp_ocpp_1_6_service& ocpp_service;
  tavi::network::i_req_resp_network_service& network_service;
  tavi::logger::i_logger& logger_service;
  mutable std::mutex expected_uploads_mutex;
  std::map<std::string, expected_report_type> expected_uploads;
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
