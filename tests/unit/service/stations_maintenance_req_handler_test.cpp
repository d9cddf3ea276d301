#include "stations_maintenance_req_handler.h"

#include <optional>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "diagnostic_fixture.h"
#include "manager_run.h"
#include "stations_maintenance/stations_maintenance_service.h"

namespace tavi::stations_maintenance {
namespace {

using namespace std::chrono_literals;
using testing::_;
using testing::DoAll;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::Optional;
using testing::Return;
using testing::SetArgReferee;

tavi::stations::charging_station station_of_model(std::string const& model) {
  return {.id = 7,
          .identity = "CS-7",
          .vendor = "Acme",
          .model = model,
          .diagnostics_status = {},
          .connected = true};
}

/// The handler before real managers, each with a database and folder of its own, and before a service that
/// has read no configuration.
class RequestHandler : public DiagnosticManagerTest {
 protected:
  RequestHandler() {
    ON_CALL(ocpp, get_charging_station(7)).WillByDefault(Return(station_of_model("X7")));
    ON_CALL(network, get_network_config())
        .WillByDefault(Return(tavi::network::network_config{.address = "controller"}));
  }

  void SetUp() override {
    DiagnosticManagerTest::SetUp();
    ASSERT_TRUE(init());
    ASSERT_TRUE(firmwares.init({.max_stored = 2}));
  }

  store_firmware_result store(station_firmware_desc const& desc) {
    return handler.on_store_firmware(desc, uri, id);
  }

  /// The id of the newest report of the station.
  [[nodiscard]] std::int32_t newest(unsigned int station) {
    return static_cast<std::int32_t>(table.get_max_diagnostic_id(station).value());
  }

  manager_run firmwares{folder.path()};
  stations_maintenance_service service{logger, ocpp, tokens, network};
  stations_maintenance_req_handler handler{service, manager, firmwares.manager};
  std::string uri = "unchanged";
  unsigned int id = 0;
};

// --- configuration
// ------------------------------------------------------------------------------------------

TEST_F(RequestHandler, TellsTheConfigurationThatTheReportsFollow) {
  using configuration = stations_maintenance_configuration;
  EXPECT_EQ(handler.on_get_configuration(), (configuration{10, true, 0s}));
  manager.update_max_periodic_diagnostic(4294967295U);
  manager.update_period_generation(86400s);
  EXPECT_EQ(handler.on_get_configuration(), (configuration{4294967295U, true, 86400s}));
  manager.update_max_periodic_diagnostic(0);
  EXPECT_EQ(handler.on_get_configuration(), (configuration{0, false, 86400s}));
}

TEST_F(RequestHandler, LeavesTheReportsAloneWhenTheConfigurationCannotBeStored) {
  EXPECT_THROW(handler.on_set_configuration({7, true, 3600s}), std::bad_optional_access);
  EXPECT_EQ(handler.on_get_configuration(), (stations_maintenance_configuration{10, true, 0s}));
}

// --- firmware
// -----------------------------------------------------------------------------------------------

TEST_F(RequestHandler, AnnouncesAFirmwareAndListsIt) {
  EXPECT_EQ(store({"2.1", {"X7", "Y2"}}), store_firmware_result::announced);
  EXPECT_EQ(uri, "/upload/token 1");
  station_firmware_info const announced{id, "2.1", "", 0, "", {"X7", "Y2"}, status::pending_upload};
  EXPECT_THAT(handler.on_get_firmwares(), Optional(ElementsAre(announced)));
  EXPECT_EQ(handler.on_get_firmware(id), announced);
  EXPECT_EQ(handler.on_get_firmware(id + 1), std::nullopt);
}

TEST_F(RequestHandler, AnnouncesAFirmwareWithoutAVersion) {
  EXPECT_EQ(store({std::nullopt, {"X7"}}), store_firmware_result::announced);
  EXPECT_EQ(handler.on_get_firmware(id).value().version, "");
}

TEST_F(RequestHandler, TellsWhyAnAnnouncementIsRefused) {
  EXPECT_EQ(store({"2.1", {}}), store_firmware_result::model_refused);
  EXPECT_EQ(store({"2.1", {"unknown"}}), store_firmware_result::model_refused);
  EXPECT_EQ(store({"", {"X7"}}), store_firmware_result::version_refused);
  auto const stored = firmwares.given_stored("2.1");
  EXPECT_EQ(store({"2.1", {"X7"}}), store_firmware_result::version_refused);
  firmwares.given_stored("2.2");
  EXPECT_EQ(store({"2.3", {"X7"}}), store_firmware_result::limit_reached);
  EXPECT_EQ(handler.on_delete_firmware(stored), delete_firmware_result::deleted);
  EXPECT_CALL(firmwares.tokens, get_upload_token).WillOnce(Return(std::nullopt));
  EXPECT_EQ(store({"2.3", {"X7"}}), store_firmware_result::failed);
  EXPECT_EQ(uri, "unchanged");
}

TEST_F(RequestHandler, DeletesAFirmwareAndTellsWhenThereIsNone) {
  auto const stored = firmwares.given_stored("2.1");
  EXPECT_EQ(handler.on_delete_firmware(stored), delete_firmware_result::deleted);
  EXPECT_EQ(handler.on_delete_firmware(stored), delete_firmware_result::unknown_firmware);
  EXPECT_THAT(handler.on_get_firmwares(), Optional(IsEmpty()));
}

TEST_F(RequestHandler, TellsAFirmwareWhoseRowCannotBeDeleted) {
  auto const stored = firmwares.given_stored("2.1");
  firmwares.faults.fail_to_execute("DELETE FROM FirmwareTable");
  EXPECT_EQ(handler.on_delete_firmware(stored), delete_firmware_result::row_not_deleted);
}

TEST_F(RequestHandler, TellsWhereTheFileOfAFirmwareLies) {
  auto const stored = firmwares.given_stored("2.1");
  ASSERT_EQ(store({"2.2", {"X7"}}), store_firmware_result::announced);
  EXPECT_EQ(handler.on_get_firmware_file(stored), handler.on_get_firmware(stored).value().path);
  EXPECT_EQ(handler.on_get_firmware_file(id), std::nullopt);
  EXPECT_EQ(handler.on_get_firmware_file(id + 1), std::nullopt);
}

TEST_F(RequestHandler, OffersAStationWhatFitsIt) {
  auto const stored = firmwares.given_stored("2.1", {"X7"});
  ON_CALL(firmwares.ocpp, get_charging_station(7)).WillByDefault(Return(station_of_model("X7-S")));
  ON_CALL(firmwares.ocpp, get_charging_station(8)).WillByDefault(Return(station_of_model("Y2")));
  ON_CALL(firmwares.ocpp, get_charging_station(9)).WillByDefault(Return(station_of_model("unsupported")));
  EXPECT_THAT(handler.on_get_charging_station_firmware(7),
              Optional(ElementsAre(testing::Field(&station_firmware_info::id, stored))));
  EXPECT_THAT(handler.on_get_charging_station_firmware(8), Optional(IsEmpty()));
  EXPECT_EQ(handler.on_get_charging_station_firmware(9), std::nullopt);
  EXPECT_EQ(handler.on_get_charging_station_firmware(10), std::nullopt);
}

// --- diagnostic reports
// -------------------------------------------------------------------------------------

TEST_F(RequestHandler, ListsReports) {
  EXPECT_THAT(handler.on_get_diagnostic_reports(), Optional(IsEmpty()));
  given_stored(7, "a.zip", 3, manual);
  given_stored(8, "b.zip", 4);
  EXPECT_EQ(handler.on_get_diagnostic_reports(), manager.get_diagnostic_reports(std::nullopt));
  EXPECT_EQ(handler.on_get_diagnostic_reports().value().size(), 2U);
}

TEST_F(RequestHandler, TellsAStationWithoutReportsFromAnUnknownOne) {
  EXPECT_THAT(handler.on_get_station_diagnostic_reports(7), Optional(IsEmpty()));
  EXPECT_EQ(handler.on_get_station_diagnostic_reports(8), std::nullopt);
  given_stored(7, "a.zip", 3, manual);
  given_stored(8, "b.zip", 4);
  EXPECT_EQ(handler.on_get_station_diagnostic_reports(7), manager.get_diagnostic_reports(7));
  EXPECT_EQ(handler.on_get_station_diagnostic_reports(7).value().size(), 1U);
}

TEST_F(RequestHandler, DeletesReportsAndTellsHowFarItCame) {
  given_stored(7, "a.zip", 3);
  auto const first = newest(7);
  auto const path = given_stored(7, "b.zip", 3);
  auto const second = newest(7);
  EXPECT_EQ(handler.on_delete_diagnostic_reports({{first}}), delete_reports_result::deleted);
  EXPECT_EQ(handler.on_delete_diagnostic_reports({{first}}), delete_reports_result::none_matched);
  std::filesystem::remove(path);
  EXPECT_EQ(handler.on_delete_diagnostic_reports({{second}}), delete_reports_result::not_all_deleted);
}

TEST_F(RequestHandler, AnswersAnExportThatSucceedsByFalse) {
  given_stored(7, "a.zip", 3);
  EXPECT_FALSE(handler.on_export_diagnostic_reports({{newest(7)}}, in_folder("export.zip")));
  EXPECT_TRUE(std::filesystem::exists(in_folder("export.zip")));
}

TEST_F(RequestHandler, AnswersAnExportThatFailsByTrue) {
  EXPECT_TRUE(handler.on_export_diagnostic_reports({{1}}, in_folder("export.zip")));
  given_stored(7, "a.zip", 3);
  EXPECT_TRUE(handler.on_export_diagnostic_reports({{newest(7)}}, in_folder("missing/export.zip")));
  EXPECT_FALSE(std::filesystem::exists(in_folder("export.zip")));
}

TEST_F(RequestHandler, AsksAStationForAReport) {
  EXPECT_CALL(tokens, get_upload_token("diagnostic_manager")).WillRepeatedly(Return("token"));
  EXPECT_CALL(ocpp, request_diagnostics_upload(7, _, _))
      .WillOnce(DoAll(SetArgReferee<2>(41U), Return(0)))
      .WillOnce(Return(1))
      .WillOnce(Return(2))
      .WillOnce(Return(-1));
  unsigned int request = 0;
  EXPECT_EQ(handler.on_generate_station_diagnostic_report(7, manual, request), generation_result::accepted);
  EXPECT_EQ(request, 41U);
  EXPECT_TRUE(manager.is_my_token("token"));
  EXPECT_EQ(handler.on_generate_station_diagnostic_report(7, periodic, request),
            generation_result::unknown_station);
  EXPECT_EQ(handler.on_generate_station_diagnostic_report(7, manual, request),
            generation_result::not_connected);
  EXPECT_EQ(handler.on_generate_station_diagnostic_report(7, manual, request), generation_result::failed);
}

TEST_F(RequestHandler, AsksNoStationForAReportThatIsForbidden) {
  manager.update_max_manual_diagnostic(0);
  EXPECT_CALL(ocpp, request_diagnostics_upload).Times(0);
  unsigned int request = 17;
  EXPECT_EQ(handler.on_generate_station_diagnostic_report(7, manual, request), generation_result::failed);
  EXPECT_EQ(request, 17U);
}

TEST_F(RequestHandler, TellsTheFolderOfTheReportsAsItIsConfigured) {
  EXPECT_EQ(handler.on_get_diagnostics_folder_path(), "reports");
}

}  // namespace
}  // namespace tavi::stations_maintenance
