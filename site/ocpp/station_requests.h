#pragma once

#include <chrono>
#include <filesystem>
#include <functional>
#include <memory>
#include <optional>
#include <string>

#include <boost/asio/awaitable.hpp>

#include "ocpp/firmware_source.h"
#include "ocpp/station_events.h"
#include "ocpp/station_registry.h"
#include "ocpp/station_session.h"

namespace tavi::site::ocpp {

/// What is answered to whoever wants something of a station; the numbers are those of the OCPP 1.6 service.
enum class request_answer : int {
  accepted = 0,  ///< the station took the request
  unknown_station = 1,
  not_connected = 2,
  nothing_to_transfer = 3,  ///< the station has no diagnostics, or the site not the file
  no_answer = 4,  ///< none in time, an error, one that cannot be understood, or the connection ended
};

/// What came of a request to a station.
struct asked_station {
  request_answer answer = request_answer::no_answer;  ///< see there
  unsigned int request = 0;                           ///< its number when the station was asked, otherwise 0
};

/// What stations are told when they are to fetch a firmware.
struct update_options {
  unsigned int retries = 3;                 ///< how often a station tries again
  std::chrono::seconds retry_interval{60};  ///< between two tries
};

/// Asks stations for what others of the controller want of them, and announces what came of it. Belongs to
/// the site's event loop.
class station_requests {
 public:
  /// Gives the connection of a station. @return empty when it has none
  using session_finder = std::function<std::shared_ptr<station_session>(std::string const& identity)>;

  /// Only stores its arguments; the references outlive it.
  /// @param registry  of all stations          @param events   gets the outcome of each request
  /// @param firmware  makes the locations      @param options  see `update_options`
  /// @param find      see `session_finder`
  station_requests(station_registry const& registry, station_events& events, firmware_source& firmware,
                   update_options options, session_finder find);

  /// Asks a station to upload its diagnostics. @param location  URL of the folder to upload to
  boost::asio::awaitable<asked_station> ask_for_diagnostics(unsigned int station_id, std::string location);

  /// Asks a station to fetch and install a firmware, at once.
  /// @param file  as `firmware_source::find_file` gave it; empty when it gave none
  boost::asio::awaitable<asked_station> ask_for_update(unsigned int station_id,
                                                       std::optional<std::filesystem::path> file);

 private:
  std::shared_ptr<station_session> find_session(unsigned int station_id, request_answer& objection) const;
  void announce(unsigned int station_id, asked_station const& asked, ocpp_wire::call_end end);

  station_registry const& stations;
  station_events& listeners;
  firmware_source& source;
  update_options update;
  session_finder find_connection;
  unsigned int last_request = 0;
};

}  // namespace tavi::site::ocpp
