#pragma once

#include <chrono>
#include <cstdint>
#include <filesystem>
#include <optional>
#include <string>
#include <vector>

#include "announced_uploads.h"
#include "stations_maintenance/result_codes.h"
#include "stations_maintenance/station_firmware_info.h"
#include "tavi/logger/i_logger.h"

namespace tavi::ocpp1_6 {
class i_req_resp_ocpp_1_6_service;
}
namespace tavi::stations {
class i_station_model_provider;
}
namespace tavi::webserver_token {
class i_req_resp_webserver_token_service;
}

namespace tavi::stations_maintenance {

class firmware_announcement;
class firmware_intake;
class firmware_offer;
class firmware_table;
class stations_model_table;

/// Keeps the firmware files of the site's stations, from their announcement to their deletion.
///
/// A firmware is announced (`on_request_add_firmware`: a row without a file, a token, a time-out), then
/// either its file arrives (`on_file_uploaded`) or the time is over. It becomes available, or a failed
/// upload: no row (or one that a database failure left until the next start) and no file any more, but an
/// entry in memory that lists show until it is deleted or the service restarts. A time-out by itself only
/// marks the upload; the next look at the firmware makes it a failed one.
///
/// Every file lies directly in the storage directory and is called `<firmware id>_<uploaded name>`; its path
/// is the firmware's `path` in the database. In what the queries answer, `path` begins with "/" all the same
/// when the storage directory is a relative one. Ids are never used twice as long as the database is kept, so
/// a file that a crash left without its row stands in nobody's way; nothing removes it. With a new or an
/// older database ids begin anew: the storage directory must be emptied too, or uploads fail on the files
/// that stand there.
///
/// Constructed without limits; `init` is called once, before anything else. Requests and events come one at a
/// time; the time-outs run beside them and touch nothing but the status of their own upload. Queries and the
/// reception of a file hold the mutex of the announced uploads for their whole work; announcing, forgetting a
/// failed upload and the single steps that are offered by themselves do without.
///
/// The work is done by `firmware_announcement`, `firmware_intake` and `firmware_offer`, made for each call.
class fw_storage_mgr {
 public:
  using pending_upload = stations_maintenance::pending_upload;

  /// Stores the references; all of them must outlive the manager. Nothing is called.
  fw_storage_mgr(tavi::logger::i_logger& logger, tavi::ocpp1_6::i_req_resp_ocpp_1_6_service& ocpp,
                 tavi::webserver_token::i_req_resp_webserver_token_service& tokens,
                 stations_model_table& models, firmware_table& firmwares,
                 tavi::stations::i_station_model_provider& supported_models);
  /// Ends every time-out and waits for one that is being noted. Announced uploads are forgotten.
  ~fw_storage_mgr();
  fw_storage_mgr(fw_storage_mgr const&) = delete;
  fw_storage_mgr& operator=(fw_storage_mgr const&) = delete;

  /// Takes the configuration over, makes the storage directory with all its parents, and removes the rows
  /// that have no file: uploads that never finished, and files that have vanished. The rows are cleaned up
  /// even when the directory cannot be made, each with a commit of its own: a start that drops many waits for
  /// the disk as many times.
  /// @param path             the storage directory; a relative one counts from the current directory
  /// @param max_stored       stored firmwares on the site at which no further one can be announced; those
  ///                         announced before may still be stored beyond it
  /// @param max_by_station   the same for one model
  /// @param timeout          from announcement to upload; one below 1 ms is over at once, one too long
  ///                         for the clock never
  /// @return false, with a line in the log, when the directory could not be made; announcements and
  ///         uploads are then refused
  /// @throw std::filesystem::filesystem_error  when it cannot be told whether a row's file exists
  [[nodiscard]] bool init(std::string const& path, unsigned int max_stored, unsigned int max_by_station,
                          std::chrono::seconds timeout);

  // --- announcement and upload ----------------------------------------------------------------------------

  /// Announces a firmware: adds its row, gets a token for its upload and starts its time-out.
  /// @param version      empty when the file is to tell it
  /// @param models       names of the station models that it fits, each once: one named twice is counted and
  ///                     listed twice. A model that was supported at an earlier start is accepted too
  /// @param uri          receives "/upload/" and the token when announced; unchanged otherwise
  /// @param firmware_id  receives the id of the row when one was added, even if it was removed again
  /// @return all but `announced` with a line in the log; the row is then gone, unless the database failed:
  ///         what is left of it goes at the next start
  store_firmware_result on_request_add_firmware(std::optional<std::string> const& version,
                                                std::vector<std::string> const& models, std::string& uri,
                                                unsigned int& firmware_id);
  /// Whether a firmware could be announced now. @return as `on_request_add_firmware`
  [[nodiscard]] store_firmware_result check_not_already_exists_and_max_not_reached(
      std::optional<std::string> const& version, std::vector<std::string> const& models);
  /// Compares the counts of stored firmwares, which leave announced ones out, with the limits.
  /// @param reached  receives whether a limit is reached; also set, with a line in the log, by a count that
  ///                 failed
  /// @return false when a count could not be taken
  [[nodiscard]] bool get_max_number_reached(std::vector<std::string> const& models, bool& reached);
  /// Whether a firmware of this version, byte for byte, is stored for one of the models; announced ones do
  /// not count, a model that cannot be looked up has none.
  [[nodiscard]] bool firmware_exists(std::string const& version, std::vector<std::string> const& models);

  /// Whether an announced upload has exactly this token, one whose time is over but was not noticed yet
  /// included.
  [[nodiscard]] bool is_my_token(std::string const& token);
  /// Takes an announced firmware's file: copies it durably into the store, readable for everybody, hashes it
  /// and completes the row.
  ///
  /// The uploaded file is removed, whatever the outcome. A failure makes the firmware a failed upload, with a
  /// line in the log, and leaves no copy behind. Nothing happens, and the uploaded file stays, for an unknown
  /// token and for one whose time is over or whose file is here already.
  /// @param token          under which it was uploaded
  /// @param file_name      the name that the uploader gave it, without folders
  /// @param uploaded_path  where the web server put it
  void on_file_uploaded(std::string const& token, std::string const& file_name,
                        std::string const& uploaded_path);
  /// Hashes a file that was copied into the store and finds out its version. Takes no lock.
  /// @param path         the copy
  /// @param firmware_id  the announced firmware; made a failed upload when the answer is false
  /// @param models       that it was announced for; must not be used after a false answer, which ends
  ///                     the upload
  /// @param hash         receives the SHA-256 in hexadecimal; empty when it cannot be computed
  /// @param version      as announced; an empty one would be read from the file
  /// @return false, with a line in the log, when the file is missing or cannot be read, has no version, or
  ///         another firmware of this version has been stored for one of the models
  [[nodiscard]] bool check_uploaded_file(std::string const& path, unsigned int firmware_id,
                                         std::vector<std::string> const& models, std::string& hash,
                                         std::string& version);
  /// Makes an announced firmware a failed upload: remembers it with this status, removes its row and ends its
  /// time-out. Without row and announcement nothing is remembered. A row that cannot be removed stays, with a
  /// line in the log, until the next start. Takes no lock.
  void set_failed_upload(unsigned int firmware_id, station_firmware_status const& status);
  /// Tells operators about a firmware: what happened, then its version, id and models.
  void functional_log(tavi::logger::log_subtype const& subtype, station_firmware_info const& info);

  // --- queries and deletion -------------------------------------------------------------------------------

  /// One firmware, a failed upload included, with its status. An upload whose time is over becomes a failed
  /// one; an available firmware whose file has vanished is removed.
  /// @return empty when there is none (any more), or on a database error
  [[nodiscard]] std::optional<station_firmware_info> get_firmware_from_id(unsigned int firmware_id);
  /// Every firmware, each once, with its status: stored and announced ones in the database's order, then the
  /// failed uploads in the order of their failure. Brings the state up to date as
  /// `get_firmware_from_id` does.
  /// @return empty when the rows cannot be read
  [[nodiscard]] std::optional<std::vector<station_firmware_info>> get_all_firmwares();
  /// Deletes a firmware with its row and file, ends an announced upload, or forgets a failed one. An upload
  /// whose time is over, but was not noticed yet, loses its row and is listed as failed from then on.
  ///
  /// A file that cannot be deleted stays, with a line in the log, and changes no outcome.
  delete_firmware_result delete_firmware(unsigned int firmware_id);
  /// The available firmwares, with their files, that fit a station's model, in the database's order.
  /// @return empty when the station or its model is not known or the rows cannot be read; an empty list when
  ///         nothing fits
  [[nodiscard]] std::optional<std::vector<station_firmware_info>> get_available_firmware_for_station(
      unsigned int station_id);

  // --- records and paths ----------------------------------------------------------------------------------

  /// Makes a stored path a URI: puts "/" before one that is neither empty nor begins with it.
  static void convert_path_to_uri(std::string& path);
  /// The path of a firmware's URI or stored path: as it is below an absolute storage directory, else below
  /// the current directory. @throw std::filesystem::filesystem_error  when there is no current directory
  [[nodiscard]] std::filesystem::path convert_uri_to_path(std::string const& uri) const;
  /// Would read the version out of a firmware file; there is no file format to read it from yet.
  /// @return false, with a line in the log and `version` unchanged
  [[nodiscard]] bool read_firmware_version_from_file(std::string const& path, std::string& version);
  /// Fills a record's status from the announced uploads and from the record itself; one whose time is over
  /// becomes a failed upload. Takes no lock.
  void set_status_in_firmware_status(station_firmware_info& info);
  /// Removes the row of an available firmware whose file has vanished, and tells operators.
  /// @param info  with its status and its stored path, not its URI
  /// @return whether it was such a firmware and its row was removed; false too, with a line in the log, when
  ///         it cannot be told whether the file exists
  [[nodiscard]] bool remove_firmware_without_file(station_firmware_info const& info);

 private:
  void remove_rows_without_file();
  [[nodiscard]] firmware_announcement announcement();
  [[nodiscard]] firmware_intake intake(announced_uploads::view awaited);
  [[nodiscard]] firmware_offer offer(announced_uploads::view awaited);

  bool initialized = false;
  tavi::logger::i_logger& logger_service;
  tavi::ocpp1_6::i_req_resp_ocpp_1_6_service& ocpp_service;
  tavi::webserver_token::i_req_resp_webserver_token_service& webserver_token_service;
  stations_model_table& models_table;
  firmware_table& firmware_db;
  tavi::stations::i_station_model_provider& station_model_provider;
  std::string storage_path;
  unsigned int max_firmware_stored = 0;
  unsigned int max_firmware_by_station = 0;
  announced_uploads uploads;
  std::chrono::milliseconds upload_timeout{0};
};

}  // namespace tavi::stations_maintenance
