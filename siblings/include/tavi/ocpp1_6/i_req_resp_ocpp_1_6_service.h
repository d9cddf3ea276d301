#pragma once

#include <optional>
#include <string>
#include <vector>

#include "tavi/export.h"
#include "tavi/stations/charging_station.h"

namespace tavi::ocpp1_6 {

/// The OCPP 1.6 service: knows the site's stations and talks to them.
class TAVI_SIBLINGS_EXPORT i_req_resp_ocpp_1_6_service {
 public:
  virtual ~i_req_resp_ocpp_1_6_service() = default;

  /// Connects to the service and reads the list of stations once.
  /// @return whether the list could be read within the time allowed for a start
  [[nodiscard]] virtual bool init() = 0;

  /// One station. May be called from any thread.
  /// @return empty when the service does not know it or did not answer
  [[nodiscard]] virtual std::optional<tavi::stations::charging_station> get_charging_station(
      unsigned int station_id) = 0;

  /// All stations, online or not. May be called from any thread.
  /// @return the list; when the service does not answer, the list as last read, because an empty list would
  /// mean a
  ///         site without stations
  [[nodiscard]] virtual std::vector<tavi::stations::charging_station> get_charging_stations() = 0;

  /// Asks a station to upload its diagnostics (OCPP 1.6, GetDiagnostics). May be called from any thread.
  /// @param station_id  the station
  /// @param location    URL of the folder to upload to, with "/" at its end
  /// @param request     receives the number of the request, under which its outcome is published
  /// @return 0 the station has been asked and named a file; 1 unknown station; 2 not connected; any other
  /// value: no
  ///         answer from the station or the service, or the station has nothing to upload
  virtual int request_diagnostics_upload(unsigned int station_id, std::string const& location,
                                         unsigned int& request) = 0;

  /// Asks a station to fetch a firmware and install it (OCPP 1.6, UpdateFirmware). May be called from any
  /// thread.
  ///
  /// The service itself makes the location that the station fetches the file from. What becomes of the update
  /// is published as the station tells it, see `i_sub_charging_stations_service_handler::on_firmware_status`.
  /// @param station_id  the station
  /// @param path        absolute path of the file on the service's machine
  /// @param request     receives the number of the request, under which its outcome is published
  /// @return 0 the station has been asked and took the request; 1 unknown station; 2 not connected; 3 no
  ///         regular file there that the service can read, or one outside the folders that it delivers from;
  ///         any other value: no answer from the station or the service
  virtual int request_firmware_update(unsigned int station_id, std::string const& path,
                                      unsigned int& request) = 0;
};

}  // namespace tavi::ocpp1_6
