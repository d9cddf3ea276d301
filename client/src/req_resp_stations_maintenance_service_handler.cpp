#include "stations_maintenance/req_resp_stations_maintenance_service_handler.h"

#include "mura_common/ipc_typed.h"
#include "operation_names.h"
#include "record_fields.h"

namespace tavi::stations_maintenance {

req_resp_stations_maintenance_service_handler::req_resp_stations_maintenance_service_handler(
    i_req_resp_stations_maintenance_service_handler& handler)
    : request_server(stations_maintenance_service_name) {
  using target = i_req_resp_stations_maintenance_service_handler;
  namespace names = operation_names;
  mura_common::bind(*this, names::get_configuration, handler, &target::on_get_configuration);
  mura_common::bind(*this, names::set_configuration, handler, &target::on_set_configuration);
  mura_common::bind(*this, names::get_firmwares, handler, &target::on_get_firmwares);
  mura_common::bind(*this, names::store_firmware, handler, &target::on_store_firmware);
  mura_common::bind(*this, names::get_firmware, handler, &target::on_get_firmware);
  mura_common::bind(*this, names::delete_firmware, handler, &target::on_delete_firmware);
  mura_common::bind(*this, names::get_charging_station_firmware, handler,
                    &target::on_get_charging_station_firmware);
  mura_common::bind(*this, names::delete_diagnostic_reports, handler, &target::on_delete_diagnostic_reports);
  mura_common::bind(*this, names::get_diagnostic_reports, handler, &target::on_get_diagnostic_reports);
  mura_common::bind(*this, names::export_diagnostic_reports, handler, &target::on_export_diagnostic_reports);
  mura_common::bind(*this, names::get_station_diagnostic_reports, handler,
                    &target::on_get_station_diagnostic_reports);
  mura_common::bind(*this, names::generate_station_diagnostic_report, handler,
                    &target::on_generate_station_diagnostic_report);
  mura_common::bind(*this, names::get_diagnostics_folder_path, handler,
                    &target::on_get_diagnostics_folder_path);
}

}  // namespace tavi::stations_maintenance
