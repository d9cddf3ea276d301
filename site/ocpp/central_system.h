#pragma once

#include <chrono>
#include <cstddef>
#include <filesystem>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include <boost/asio/awaitable.hpp>
#include <boost/asio/io_context.hpp>

#include "http_exchange.h"
#include "http_listener.h"
#include "ocpp/firmware_source.h"
#include "ocpp/station_events.h"
#include "ocpp/station_requests.h"
#include "ocpp/station_session.h"
#include "tavi/ocpp1_6/req_resp_ocpp_1_6_service.h"

namespace tavi::site::ocpp {

/// What an operator decides about the stations of a site.
struct central_system_options {
  std::filesystem::path stations_file;                         ///< where stations are kept; its folder exists
  bool is_accepting_unknown = true;                            ///< whether a new identity is taken in
  std::size_t station_limit = 1000;                            ///< how many stations the site may have
  std::chrono::seconds heartbeat = std::chrono::seconds(300);  ///< interval that stations are told
  session_limits session;                                      ///< of every connection
  std::chrono::milliseconds ping_patience = std::chrono::seconds(
      3);                 ///< in which a connected station is to answer when its identity connects again
  update_options update;  ///< of every firmware update
};

/// The site's side of OCPP 1.6-J: takes stations' connections, serves the controller's OCPP 1.6 service.
///
/// Stations connect to "/ocpp/<identity>" with the sub-protocol "ocpp1.6". A new station is kept and
/// announced once its handshake has succeeded; one that offers no such sub-protocol is connected and closed
/// at once. A second connection of an identity is refused while the first one is alive. What stations say
/// about themselves is written at most once per second, and at the end. An upload that was under way when a
/// connection ended counts as over with the next one. What others of the controller ask comes on any thread
/// and is carried out on the event loop; it throws when the loop does not come to it in time, because an
/// empty answer would look like a site without stations.
class central_system : public tavi::ocpp1_6::i_req_resp_ocpp_1_6_service_handler {
 public:
  /// @param loop     the site's event loop, run by one thread; outlives the system
  /// @param options  see `central_system_options`
  /// @param events   outlives the system
  /// @param firmware  outlives the system
  central_system(boost::asio::io_context& loop, central_system_options options, station_events& events,
                 firmware_source& firmware);
  ~central_system() override;

  /// Reads the stations and adds the route. Before the loop runs.
  /// @return false, with one line in the log, when the stations cannot be read
  [[nodiscard]] bool add_to(http::http_listener& listener);

  /// Says goodbye to every station, fails what waits for their answers, drops who has not answered after a
  /// second, and refuses whoever comes. Once, on the event loop.
  /// @param on_stopped  called on the event loop when the last connection has ended
  void stop(std::function<void()> on_stopped);

  /// See the base. Any thread but the loop's. @throws std::runtime_error when the loop does not answer
  std::optional<tavi::stations::charging_station> on_get_charging_station(
      unsigned int const& station_id) override;
  /// As `on_get_charging_station`.
  std::vector<tavi::stations::charging_station> on_get_charging_stations() override;
  /// Asks a station to upload and waits for its answer; see `request_answer`. Any thread but the loop's.
  /// @param request  receives a number above 0 when the station was asked, otherwise 0
  int on_request_diagnostics_upload(unsigned int const& station_id, std::string const& location,
                                    unsigned int& request) override;
  /// Asks a station to fetch a file and waits for its answer; see `request_answer`. Any thread but the loop's.
  /// @param path     of the file, as `firmware_source::find_file` takes it
  /// @param request  receives a number above 0 when the station was asked, otherwise 0
  int on_request_firmware_update(unsigned int const& station_id, std::string const& path,
                                 unsigned int& request) override;

 private:
  struct members;
  std::unique_ptr<members> own;
};

}  // namespace tavi::site::ocpp
