#pragma once

#include <chrono>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "mura_common/ipc.h"
#include "stations_maintenance/diagnostic_report.h"
#include "stations_maintenance/diagnostic_report_filter.h"
#include "stations_maintenance/export.h"
#include "stations_maintenance/result_codes.h"
#include "stations_maintenance/station_firmware_desc.h"
#include "stations_maintenance/station_firmware_info.h"
#include "stations_maintenance/stations_maintenance_configuration.h"

namespace tavi::stations_maintenance {

/// How long a client waits for the service, each above 0. The service handles one request at a time, so every
/// limit includes the wait for requests of others.
struct call_limits {
  std::chrono::milliseconds start = std::chrono::seconds(30);  ///< of `init`
  std::chrono::milliseconds query = std::chrono::seconds(30);  ///< of what needs no station's answer
  /// Of what needs a station's answer: longer than a silent station can keep the service waiting.
  std::chrono::milliseconds station = std::chrono::seconds(60);
};

/// Client of the stations maintenance service over IPC.
///
/// Each operation answers with a `call_result`. Its `value` is what the service's operation gave, a result
/// code or an absent record included; without one `failure` says why (refused, with what the service said in
/// `reason`; not reached; connection lost; timed out; not understood), and a line in the log too.
/// Out-parameters change only when there is a value. A request that got no answer may have been carried out
/// all the same; repeating it is the caller's decision.
///
/// Any number of threads may call at once. The client connects by itself, at the first call and again when
/// the service was away.
class STATIONS_MAINTENANCE_EXPORT req_resp_stations_maintenance_service {
 public:
  template <typename T>
  using answer = mura_common::call_result<T>;

  /// Limit of the operations that work through many reports, unless their caller knows better.
  static constexpr std::chrono::milliseconds bulk_time_out = std::chrono::minutes(10);

  /// Connects to nothing yet.
  explicit req_resp_stations_maintenance_service(call_limits const& limits = {});
  ~req_resp_stations_maintenance_service();
  req_resp_stations_maintenance_service(req_resp_stations_maintenance_service const&) = delete;
  req_resp_stations_maintenance_service& operator=(req_resp_stations_maintenance_service const&) = delete;

  /// Waits until the service answers; the operations may be called without it too.
  /// @return whether it did within `call_limits::start`; when false, one line in the log names the service
  [[nodiscard]] bool init();

  // What each operation does, takes and gives is said once, with the interface of the service:
  // `i_req_resp_stations_maintenance_service_handler`.

  /// See `on_get_configuration`.
  [[nodiscard]] answer<std::optional<stations_maintenance_configuration>> get_configuration();
  /// See `on_set_configuration`.
  [[nodiscard]] answer<bool> set_configuration(stations_maintenance_configuration const& configuration);

  /// See `on_get_firmwares`.
  [[nodiscard]] answer<std::optional<std::vector<station_firmware_info>>> get_firmwares();
  /// See `on_store_firmware`.
  [[nodiscard]] answer<store_firmware_result> store_firmware(station_firmware_desc const& desc,
                                                             std::string& upload_uri,
                                                             unsigned int& firmware_id);
  /// See `on_get_firmware`.
  [[nodiscard]] answer<std::optional<station_firmware_info>> get_firmware(unsigned int firmware_id);
  /// See `on_delete_firmware`.
  [[nodiscard]] answer<delete_firmware_result> delete_firmware(unsigned int firmware_id);
  /// See `on_get_charging_station_firmware`.
  [[nodiscard]] answer<std::optional<std::vector<station_firmware_info>>> get_charging_station_firmware(
      unsigned int station_id);

  /// See `on_delete_diagnostic_reports`.
  /// A request takes 87,000 ids, whatever they are; one with many more is `refused` without being sent.
  /// @param time_out  above 0
  [[nodiscard]] answer<delete_reports_result> delete_diagnostic_reports(
      diagnostic_report_filter const& filter, std::chrono::milliseconds time_out = bulk_time_out);
  /// See `on_get_diagnostic_reports`.
  [[nodiscard]] answer<std::optional<std::vector<diagnostic_report_info>>> get_diagnostic_reports();
  /// See `on_export_diagnostic_reports`.
  /// @param time_out  above 0
  /// @return an error flag: true exactly when the export failed, false when it succeeded
  [[nodiscard]] answer<bool> export_diagnostic_reports(diagnostic_report_filter const& filter,
                                                       std::string const& destination,
                                                       std::chrono::milliseconds time_out = bulk_time_out);
  /// See `on_get_station_diagnostic_reports`.
  [[nodiscard]] answer<std::optional<std::vector<diagnostic_report_info>>> get_station_diagnostic_reports(
      unsigned int station_id);
  /// See `on_generate_station_diagnostic_report`.
  [[nodiscard]] answer<generation_result> generate_station_diagnostic_report(unsigned int station_id,
                                                                             diagnostic_report_type type,
                                                                             unsigned int& request);
  /// See `on_get_diagnostics_folder_path`.
  [[nodiscard]] answer<std::string> get_diagnostics_folder_path();

  /// See `on_get_working_directory`.
  [[nodiscard]] answer<std::string> get_working_directory();
  /// See `on_get_firmware_file`.
  [[nodiscard]] answer<std::optional<std::string>> get_firmware_file(unsigned int firmware_id);

 private:
  struct members;
  std::unique_ptr<members> own;
};

}  // namespace tavi::stations_maintenance
