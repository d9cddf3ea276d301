#pragma once

#include <optional>
#include <string>
#include <vector>

#include <gmock/gmock.h>

#include "stations_maintenance/i_req_resp_stations_maintenance_service_handler.h"

class mock_stations_maintenance_handler
    : public tavi::stations_maintenance::i_req_resp_stations_maintenance_service_handler {
 public:
  using configuration = tavi::stations_maintenance::stations_maintenance_configuration;
  using firmware = tavi::stations_maintenance::station_firmware_info;
  using report = tavi::stations_maintenance::diagnostic_report_info;
  using report_filter = tavi::stations_maintenance::diagnostic_report_filter;

  MOCK_METHOD(std::optional<configuration>, on_get_configuration, (), (override));
  MOCK_METHOD(bool, on_set_configuration, (configuration const& configuration), (override));
  MOCK_METHOD(std::optional<std::vector<firmware>>, on_get_firmwares, (), (override));
  MOCK_METHOD(tavi::stations_maintenance::store_firmware_result, on_store_firmware,
              (tavi::stations_maintenance::station_firmware_desc const& desc, std::string& out_text,
               unsigned int& out_value),
              (override));
  MOCK_METHOD(std::optional<firmware>, on_get_firmware, (unsigned int const& firmware_id), (override));
  MOCK_METHOD(tavi::stations_maintenance::delete_firmware_result, on_delete_firmware,
              (unsigned int const& firmware_id), (override));
  MOCK_METHOD(std::optional<std::vector<firmware>>, on_get_charging_station_firmware,
              (unsigned int const& station_id), (override));
  MOCK_METHOD(tavi::stations_maintenance::delete_reports_result, on_delete_diagnostic_reports,
              (report_filter const& filter), (override));
  MOCK_METHOD(std::optional<std::vector<report>>, on_get_diagnostic_reports, (), (override));
  MOCK_METHOD(bool, on_export_diagnostic_reports,
              (report_filter const& filter, std::string const& destination), (override));
  MOCK_METHOD(std::optional<std::vector<report>>, on_get_station_diagnostic_reports,
              (unsigned int const& station_id), (override));
  MOCK_METHOD(tavi::stations_maintenance::generation_result, on_generate_station_diagnostic_report,
              (unsigned int const& station_id, tavi::stations_maintenance::diagnostic_report_type const& type,
               unsigned int& request_out),
              (override));
  MOCK_METHOD(std::string, on_get_diagnostics_folder_path, (), (override));
  MOCK_METHOD(std::string, on_get_working_directory, (), (override));
  MOCK_METHOD(std::optional<std::string>, on_get_firmware_file, (unsigned int const& firmware_id),
              (override));
};
