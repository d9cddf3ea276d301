#pragma once

#include <memory>
#include <string>

#include "mura_common/delivery.h"
#include "tavi/stations/sub_charging_stations_service.h"
#include "tavi/webserver_token/sub_webserver_token_service.h"

namespace tavi::stations_maintenance {

/// Events that the host hands in: each waits for the service's turn, then goes to the handler that a
/// subscription would have given it to, with no more of a file's name than is harmless. An exception out of a
/// handler ends there, with a line in the log.
class handed_in_events : public tavi::webserver_token::i_sub_webserver_token_service_handler,
                         public tavi::stations::i_sub_charging_stations_service_handler {
 public:
  /// Only stores the references. @param service  the name whose delivery lane the events take
  handed_in_events(std::string const& service,
                   tavi::webserver_token::i_sub_webserver_token_service_handler& uploads,
                   tavi::stations::i_sub_charging_stations_service_handler& stations);

  void on_file_uploaded(std::string const& token, std::string const& file_name,
                        std::string const& file_path) override;
  void on_station_status(tavi::stations::charging_station_status const& status) override;
  void on_connector_status_changed(unsigned int const& station_id, unsigned int const& connector_id,
                                   tavi::stations::charging_station_connector_status const& status) override;
  void on_command_status(unsigned int const& station_id, unsigned int const& request_id,
                         tavi::stations::cs_request_status const& status) override;
  void on_station_created(unsigned int const& station_id) override;
  void on_station_deleted(unsigned int const& station_id) override;

 private:
  template <typename Handling>
  void in_turn(char const* event, Handling handling);

  std::shared_ptr<mura_common::delivery_lane> lane;
  tavi::webserver_token::i_sub_webserver_token_service_handler& upload_handler;
  tavi::stations::i_sub_charging_stations_service_handler& station_handler;
};

}  // namespace tavi::stations_maintenance
