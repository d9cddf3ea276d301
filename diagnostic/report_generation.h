#pragma once

#include <atomic>
#include <string>

#include "expected_uploads.h"
#include "stations_maintenance/diagnostic_report.h"
#include "stations_maintenance/result_codes.h"
#include "tavi/logger/i_logger.h"
#include "tavi/network/i_req_resp_network_service.h"
#include "tavi/ocpp1_6/i_req_resp_ocpp_1_6_service.h"
#include "tavi/stations/charging_station.h"
#include "tavi/webserver_token/i_req_resp_webserver_token_service.h"

namespace tavi::stations_maintenance {

/// Has stations upload reports of one type: asks them through the OCPP service, and expects the upload of
/// each that accepts. Works from any thread on what it refers to, which must outlive it.
struct report_generation {
  tavi::webserver_token::i_req_resp_webserver_token_service& webserver_token_service;
  tavi::ocpp1_6::i_req_resp_ocpp_1_6_service& ocpp_service;
  tavi::network::i_req_resp_network_service& network_service;
  tavi::logger::i_logger& logger_service;
  expected_uploads& uploads;
  std::atomic<bool> const& is_stopping;  ///< a run over all stations ends at its current one when it is set
  diagnostic_report_type type;
  bool is_allowed;  ///< whether the configuration allows this type

  /// Whether a station with this status may be asked: not while it uploads, nor with a status not known here.
  [[nodiscard]] static bool is_upload_allowed(tavi::stations::station_diagnostics_status status);

  /// Asks a station, whatever configuration and status say.
  /// @param address      the controller's, as stations reach it
  /// @param request_out  number of the request, filled by the OCPP service
  /// @return what came of it, with a line in the log
  [[nodiscard]] generation_result generate(unsigned int station_id, std::string const& address,
                                           unsigned int& request_out) const;
  /// Asks a station if configuration and its status allow it. @return as `generate`
  [[nodiscard]] generation_result generate_if_allowed(unsigned int station_id,
                                                      unsigned int& request_out) const;
  /// Asks every station whose status allows it, and tells operators how many accepted; one that fails stops
  /// no other. @return false when generation is blocked or a station that was asked did not accept
  [[nodiscard]] bool generate_all() const;
};

}  // namespace tavi::stations_maintenance
