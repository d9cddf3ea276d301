#include <string>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "service_fixture.h"

namespace tavi::stations_maintenance {
namespace {

using spdlog::level::err;
using spdlog::level::warn;

class ServiceConfiguration : public ServiceTest {
 protected:
  [[nodiscard]] bool is_diagnostic_manager_initialised() const {
    return std::filesystem::exists(folder.path() / "reports");
  }
};

TEST_F(ServiceConfiguration, IsReadFromTheFileOfTheServicesName) {
  EXPECT_TRUE(init());
  EXPECT_TRUE(is_diagnostic_manager_initialised());
}

TEST_F(ServiceConfiguration, NeedsEveryOneOfItsKeys) {
  for (auto const& [table, line] : complete_configuration()) {
    auto const key = line.substr(0, line.find(' '));
    given_configuration(key);
    stations_maintenance_service one(logger, ocpp, tokens, network);
    log.clear();
    EXPECT_FALSE(init(one)) << key;
    EXPECT_TRUE(log.holds(err, "Failed to read service's configuration")) << key;
    EXPECT_TRUE(log.holds(err, table + "." + key)) << key;
    EXPECT_FALSE(is_diagnostic_manager_initialised()) << key;
  }
}

TEST_F(ServiceConfiguration, AsksForEveryKeyEvenWhenAnEarlierOneIsMissing) {
  folder.write("stations_maintenance_service.toml", "");
  EXPECT_FALSE(init());
  for (auto const& [table, line] : complete_configuration()) {
    auto const key = table + "." + line.substr(0, line.find(' '));
    EXPECT_TRUE(log.holds(err, key)) << key;
  }
}

TEST_F(ServiceConfiguration, IsRefusedWithAValueOfAnotherType) {
  given_configuration("max_manual_report_per_station", "max_manual_report_per_station = \"many\"");
  EXPECT_FALSE(init());
  EXPECT_TRUE(log.holds(err, "diagnostic_report.max_manual_report_per_station"));
  EXPECT_TRUE(log.holds(err, "Failed to read service's configuration"));
}

TEST_F(ServiceConfiguration, IsRefusedWhenTheStorageDirectoryCannotBeMade) {
  folder.write("in_the_way", "a file");
  given_configuration("diagnostic_report_storage_directory",
                      "diagnostic_report_storage_directory = \"in_the_way/reports\"");
  EXPECT_FALSE(init());
  EXPECT_TRUE(log.holds(err, "[diagnostic_manager] Can't create directory "));
  EXPECT_TRUE(log.holds(err, "Can't init diagnostic manager with given parameters"));
}

TEST_F(ServiceConfiguration, IsRefusedWhenTheFirmwareDirectoryCannotBeMade) {
  folder.write("in_the_way", "a file");
  given_configuration("storage_path", "storage_path = \"in_the_way/firmware\"");
  EXPECT_CALL(ocpp, get_charging_stations()).Times(0);
  EXPECT_FALSE(init());
  EXPECT_TRUE(log.holds(warn, "[fw_storage_mgr] Fail to create destination directory: in_the_way/firmware"));
}

TEST_F(ServiceConfiguration, ReachesTheDiagnosticManager) {
  given_configuration("period_for_automatic_generation", "period_for_automatic_generation = 7200");
  ASSERT_TRUE(init());
  EXPECT_CALL(logger, send_functional_log(
                          13, tavi::logger::log_subtype::diagnostic_periodic_generation,
                          "Changing period of generation of diagnostic. Period is now 7200s (or 2 h)"));
  EXPECT_TRUE(service.start());
}

}  // namespace
}  // namespace tavi::stations_maintenance
