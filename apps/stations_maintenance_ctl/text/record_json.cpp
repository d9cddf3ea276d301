#include "text/record_json.h"

#include "text/record_names.h"

namespace tavi::ctl {

json json_of(stations_maintenance::diagnostic_report_info const& report) {
  return {{"diagnostic_id", report.diagnostic_id},
          {"station_id", report.station_id},
          {"diagnostic_name", report.diagnostic_name},
          {"timestamp_creation", report.timestamp_creation},
          {"type", name_of(report.type)},
          {"size", report.size}};
}

json json_of(stations_maintenance::station_firmware_info const& firmware) {
  return {{"id", firmware.id},
          {"version", firmware.version},
          {"path", firmware.path},
          {"size", firmware.size},
          {"hash", firmware.hash},
          {"models", firmware.models},
          {"status", name_of(firmware.status)}};
}

json json_of(stations_maintenance::stations_maintenance_configuration const& configuration) {
  return {{"max_periodic_report_per_station", configuration.max_periodic_report_per_station},
          {"periodic_generation_enabled", configuration.periodic_generation_enabled},
          {"period_for_automatic_generation", configuration.period_for_automatic_generation.count()}};
}

std::string json_text(json const& document, bool is_on_one_line) {
  return document.dump(is_on_one_line ? -1 : 2, ' ', true, json::error_handler_t::replace) + '\n';
}

}  // namespace tavi::ctl
