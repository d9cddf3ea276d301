#include "stations_maintenance/req_resp_stations_maintenance_service_handler.h"

#include "mura_common/ipc_typed.h"

namespace tavi::stations_maintenance {

req_resp_stations_maintenance_service_handler::req_resp_stations_maintenance_service_handler(
    i_req_resp_stations_maintenance_service_handler& handler)
    : request_server(mura_common::ipc_interface<i_req_resp_stations_maintenance_service_handler>::service) {
  mura_common::bind_operations<i_req_resp_stations_maintenance_service_handler>(*this, handler);
}

}  // namespace tavi::stations_maintenance
