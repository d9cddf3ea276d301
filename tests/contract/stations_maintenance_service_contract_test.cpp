#include <optional>
#include <string>
#include <vector>

#include <gmock/gmock.h>

#include "both_ways.h"
#include "fake_stations_maintenance_service.h"
#include "stations_maintenance/req_resp_stations_maintenance_service.h"
#include "stations_maintenance/req_resp_stations_maintenance_service_handler.h"

namespace {

using namespace tavi::stations_maintenance;
using mura_common::call_result;

using firmware_list = std::optional<std::vector<station_firmware_info>>;
using report_list = std::optional<std::vector<diagnostic_report_info>>;

class called_directly {
 public:
  using handler_type = fake_stations_maintenance_service;
  explicit called_directly(fake_stations_maintenance_service& fake) : handler(fake) {}
  called_directly& service() { return *this; }
  bool init() { return true; }

  call_result<std::optional<stations_maintenance_configuration>> get_configuration() {
    return {handler.on_get_configuration()};
  }
  call_result<bool> set_configuration(stations_maintenance_configuration const& wanted) {
    return {handler.on_set_configuration(wanted)};
  }
  call_result<firmware_list> get_firmwares() { return {handler.on_get_firmwares()}; }
  call_result<store_firmware_result> store_firmware(station_firmware_desc const& desc, std::string& uri,
                                                    unsigned int& id) {
    return {handler.on_store_firmware(desc, uri, id)};
  }
  call_result<std::optional<station_firmware_info>> get_firmware(unsigned int id) {
    return {handler.on_get_firmware(id)};
  }
  call_result<delete_firmware_result> delete_firmware(unsigned int id) {
    return {handler.on_delete_firmware(id)};
  }
  call_result<firmware_list> get_charging_station_firmware(unsigned int station) {
    return {handler.on_get_charging_station_firmware(station)};
  }
  call_result<delete_reports_result> delete_diagnostic_reports(diagnostic_report_filter const& filter) {
    return {handler.on_delete_diagnostic_reports(filter)};
  }
  call_result<report_list> get_diagnostic_reports() { return {handler.on_get_diagnostic_reports()}; }
  call_result<bool> export_diagnostic_reports(diagnostic_report_filter const& filter,
                                              std::string const& destination) {
    return {handler.on_export_diagnostic_reports(filter, destination)};
  }
  call_result<report_list> get_station_diagnostic_reports(unsigned int station) {
    return {handler.on_get_station_diagnostic_reports(station)};
  }
  call_result<generation_result> generate_station_diagnostic_report(unsigned int station,
                                                                    diagnostic_report_type type,
                                                                    unsigned int& request) {
    return {handler.on_generate_station_diagnostic_report(station, type, request)};
  }
  call_result<std::string> get_diagnostics_folder_path() {
    return {handler.on_get_diagnostics_folder_path()};
  }
  call_result<std::string> get_working_directory() { return {handler.on_get_working_directory()}; }
  call_result<std::optional<std::string>> get_firmware_file(unsigned int id) {
    return {handler.on_get_firmware_file(id)};
  }

 private:
  fake_stations_maintenance_service& handler;
};

using ways = testing::Types<called_directly, over_ipc<req_resp_stations_maintenance_service,
                                                      req_resp_stations_maintenance_service_handler,
                                                      fake_stations_maintenance_service>>;

template <typename Way>
class StationsMaintenanceServiceContract : public contract<Way> {
 protected:
  /// @return the code, which must come
  store_firmware_result store(station_firmware_desc const& desc) {
    return this->service().store_firmware(desc, uri, id).value.value();
  }
  station_firmware_info const stored{
      3, "2.1", "/f/3_x7.bin", 12, "ab", {"X7-22"}, station_firmware_status::available};
  diagnostic_report_info const report{4294967295U, 7, "\xc3\xa4.zip", -1, diagnostic_report_type::manual, 5};
  std::string uri;
  unsigned int id = 0;
};
TYPED_TEST_SUITE(StationsMaintenanceServiceContract, ways);

TYPED_TEST(StationsMaintenanceServiceContract, TellsTheConfigurationThatWasSet) {
  stations_maintenance_configuration const wanted{7, true, std::chrono::seconds(3600)};
  EXPECT_EQ(this->service().set_configuration(wanted).value, true);
  EXPECT_EQ(this->service().get_configuration().value, wanted);
}

TYPED_TEST(StationsMaintenanceServiceContract, TakesZerosForAGenerationThatIsSwitchedOff) {
  EXPECT_EQ(this->service().set_configuration({7, false, std::chrono::seconds(3600)}).value, true);
  EXPECT_EQ(this->service().get_configuration().value, stations_maintenance_configuration{});
}

TYPED_TEST(StationsMaintenanceServiceContract, SwitchesGenerationOffByAMaximumOfZero) {
  EXPECT_EQ(this->service().set_configuration({0, true, std::chrono::seconds(3600)}).value, true);
  EXPECT_FALSE(this->service().get_configuration().value.value()->periodic_generation_enabled);
}

TYPED_TEST(StationsMaintenanceServiceContract, ListsAnAnnouncedFirmware) {
  EXPECT_EQ(this->store({"2.2", {"X7-22", "X7-44"}}), store_firmware_result::announced);
  EXPECT_TRUE(this->uri.starts_with("/upload/"));
  auto const found = this->service().get_firmware(this->id).value.value();
  ASSERT_TRUE(found.has_value());
  EXPECT_EQ(found->version, "2.2");
  EXPECT_EQ(found->status, station_firmware_status::pending_upload);
  EXPECT_THAT(this->service().get_firmwares().value, std::vector{*found});
}

TYPED_TEST(StationsMaintenanceServiceContract, RefusesAnnouncementsByTheirCodes) {
  this->handler.add(this->stored);
  EXPECT_EQ(this->store({"2.2", {}}), store_firmware_result::model_refused);
  EXPECT_EQ(this->store({"", {"X7-22"}}), store_firmware_result::version_refused);
  EXPECT_EQ(this->store({"2.1", {"X7-22"}}), store_firmware_result::version_refused);
  EXPECT_EQ(this->store({"2.1", {"X7-44"}}), store_firmware_result::announced);
  while (this->service().get_firmwares().value.value()->size() <
         fake_stations_maintenance_service::firmware_limit) {
    ASSERT_EQ(this->store({std::nullopt, {"X7-22"}}), store_firmware_result::announced);
  }
  EXPECT_EQ(this->store({std::nullopt, {"X7-22"}}), store_firmware_result::limit_reached);
}

TYPED_TEST(StationsMaintenanceServiceContract, DeletesAFirmwareOnce) {
  this->handler.add(this->stored);
  EXPECT_EQ(this->service().delete_firmware(3).value, delete_firmware_result::deleted);
  EXPECT_EQ(this->service().delete_firmware(3).value, delete_firmware_result::unknown_firmware);
  EXPECT_EQ(this->service().get_firmware(3).value.value(), std::nullopt);
}

TYPED_TEST(StationsMaintenanceServiceContract, OffersAStationWhatIsAvailableForItsModel) {
  this->handler.add(7, {"X7-22"});
  this->handler.add(8, {"X7-44"});
  this->handler.add(this->stored);
  ASSERT_EQ(this->store({"2.2", {"X7-22"}}), store_firmware_result::announced);
  EXPECT_EQ(this->service().get_charging_station_firmware(7).value.value(), std::vector{this->stored});
  EXPECT_EQ(this->service().get_charging_station_firmware(8).value.value()->size(), 0U);
  EXPECT_EQ(this->service().get_charging_station_firmware(9).value.value(), std::nullopt);
}

TYPED_TEST(StationsMaintenanceServiceContract, ListsReportsOfAllAndOfOneStation) {
  this->handler.add(7, {"X7-22"});
  this->handler.add(8, {"X7-22"});
  this->handler.add(this->report);
  EXPECT_EQ(this->service().get_diagnostic_reports().value.value(), std::vector{this->report});
  EXPECT_EQ(this->service().get_station_diagnostic_reports(7).value.value(), std::vector{this->report});
  EXPECT_EQ(this->service().get_station_diagnostic_reports(8).value.value()->size(), 0U);
  EXPECT_EQ(this->service().get_station_diagnostic_reports(9).value.value(), std::nullopt);
}

TYPED_TEST(StationsMaintenanceServiceContract, DeletesTheChosenReports) {
  this->handler.add(this->report);
  EXPECT_EQ(this->service().delete_diagnostic_reports({{1}}).value, delete_reports_result::none_matched);
  EXPECT_EQ(this->service().delete_diagnostic_reports({{1, -1, -1}}).value, delete_reports_result::deleted);
  EXPECT_EQ(this->service().get_diagnostic_reports().value.value()->size(), 0U);
}

TYPED_TEST(StationsMaintenanceServiceContract, RaisesAFlagForAnExportThatFails) {
  this->handler.add(this->report);
  EXPECT_EQ(this->service().export_diagnostic_reports({{-1}}, "/tmp/a.zip").value, false);
  EXPECT_EQ(this->service().export_diagnostic_reports({{1}}, "/tmp/a.zip").value, true);
  EXPECT_EQ(this->service().export_diagnostic_reports({}, "/tmp/a.zip").value, true);
}

TYPED_TEST(StationsMaintenanceServiceContract, AsksConnectedStationsForReports) {
  this->handler.add(7, {"X7-22", true});
  this->handler.add(8, {"X7-22", false});
  unsigned int first = 0;
  unsigned int second = 0;
  auto const ask = [this](unsigned int station, diagnostic_report_type type, unsigned int& request) {
    return this->service().generate_station_diagnostic_report(station, type, request).value;
  };
  EXPECT_EQ(ask(7, diagnostic_report_type::manual, first), generation_result::accepted);
  EXPECT_EQ(ask(7, diagnostic_report_type::periodic, second), generation_result::accepted);
  EXPECT_NE(first, second);
  EXPECT_EQ(ask(8, diagnostic_report_type::manual, second), generation_result::not_connected);
  EXPECT_EQ(ask(9, diagnostic_report_type::manual, second), generation_result::unknown_station);
  EXPECT_EQ(ask(7, static_cast<diagnostic_report_type>(-1), second), generation_result::failed);
}

TYPED_TEST(StationsMaintenanceServiceContract, TellsWhereThingsLie) {
  this->handler.add(this->stored);
  EXPECT_EQ(this->service().get_working_directory().value, "/var/lib/stations");
  EXPECT_EQ(this->service().get_firmware_file(3).value.value(), "/f/3_x7.bin");
  EXPECT_EQ(this->service().get_firmware_file(4).value.value(), std::nullopt);
}

TYPED_TEST(StationsMaintenanceServiceContract, TellsTheFolderOfTheReports) {
  EXPECT_EQ(this->service().get_diagnostics_folder_path().value, "diagnostic_reports");
}

}  // namespace
