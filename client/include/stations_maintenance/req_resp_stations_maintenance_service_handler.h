#pragma once

#include "mura_common/ipc.h"
#include "stations_maintenance/export.h"
#include "stations_maintenance/i_req_resp_stations_maintenance_service_handler.h"

namespace tavi::stations_maintenance {

/// IPC server of the stations maintenance service, found by its clients as "stations_maintenance_service".
///
/// Starts, stops and treats whatever arrives as every `request_server` does.
class STATIONS_MAINTENANCE_EXPORT req_resp_stations_maintenance_service_handler
    : public mura_common::request_server {
 public:
  /// Only stores its argument: calls nothing before the server is started.
  /// @param handler  answers the requests, one at a time, on the server's thread; must outlive the server
  explicit req_resp_stations_maintenance_service_handler(
      i_req_resp_stations_maintenance_service_handler& handler);
};

}  // namespace tavi::stations_maintenance
