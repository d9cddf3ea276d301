#include <chrono>
#include <filesystem>
#include <string>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "archive_entries.h"
#include "embedded_service_fixture.h"
#include "stations_maintenance/diagnostic_report_filter.h"

namespace tavi::stations_maintenance {
namespace {

namespace fs = std::filesystem;
using namespace std::chrono_literals;
using testing::ElementsAre;
using testing::IsEmpty;

/// A service each of whose parameters has a value of its own, so that none can stand in for another. Its
/// configuration lies elsewhere than its working directory, which is no longer the current one.
class ServiceParameters : public EmbeddedServiceTest {
 protected:
  void SetUp() override {
    fs::create_directories(folder.path() / "config");
    fs::rename(folder.path() / "supported_stations.json", folder.path() / "config/supported_stations.json");
    folder.write("config/stations_maintenance_service.toml",
                 "[diagnostic_report]\n"
                 "max_periodic_report_per_station = 7\n"
                 "max_manual_report_per_station = 2\n"
                 "period_for_automatic_generation = 3600\n"
                 "max_total_directory_size = 1000\n"
                 "diagnostic_report_storage_directory = \"reports\"\n"
                 "zip_command = \"" +
                     given_program("archiver", "zip") +
                     "\"\n"
                     "zsh_command = \"" +
                     given_program("shell", "sh") +
                     "\"\n"
                     "[firmware_storage]\n"
                     "max_firmware_stored = 4\n"
                     "max_firmware_by_station = 3\n"
                     "storage_path = \"firmware\"\n"
                     "upload_timeout = 1\n");
    auto const working = folder.path().string();
    auto const config = (folder.path() / "config").string();
    char const* arguments[] = {"test", "--working-dir", working.c_str(), "--config-dir", config.c_str()};
    ASSERT_TRUE(embedded.init(5, arguments));
    ASSERT_TRUE(embedded.start());
    fs::current_path(previous_directory);
  }

  /// A program that notes its name in "calls" and then is another one. @return its path
  std::string given_program(std::string const& name, std::string const& then) const {
    auto const program =
        folder.write(name, "#!/bin/sh\necho " + name + " >>'" + (folder.path() / "calls").string() +
                               "'\nexec " + then + " \"$@\"\n");
    fs::permissions(program, fs::perms{0755});
    return program.string();
  }

  void given_report(std::string const& name, std::size_t size) {
    ASSERT_EQ(ask_for_report(), generation_result::accepted);
    hand_in(token, name, std::string(size, 'x'));
  }
};

TEST_F(ServiceParameters, OfPeriodicGenerationAreThoseConfigured) {
  EXPECT_EQ(client.get_configuration().value.value(), (stations_maintenance_configuration{7, true, 3600s}));
}

TEST_F(ServiceParameters, KeepAsManyManualReportsAsConfigured) {
  given_report("first", 1);
  given_report("second", 1);
  EXPECT_THAT(reports(), ElementsAre("first", "second"));
  given_report("third", 1);
  EXPECT_THAT(reports(), ElementsAre("second", "third"));
}

TEST_F(ServiceParameters, KeepTheReportsBelowTheConfiguredSize) {
  given_report("first", 999);
  EXPECT_THAT(reports(), ElementsAre("first"));
  given_report("second", 998);
  EXPECT_THAT(reports(), ElementsAre("second"));
  given_report("too large", 1000);
  EXPECT_THAT(reports(), IsEmpty());
}

TEST_F(ServiceParameters, PackExportsWithTheConfiguredShellAndArchiverBelowTheWorkingDirectory) {
  given_report("diag.log", 1);
  diagnostic_report_filter filter;
  filter.diagnostic_ids = {1};
  EXPECT_EQ(client.export_diagnostic_reports(filter, "export.zip").value, false);
  EXPECT_EQ(content_of(folder.path() / "calls"), "shell\narchiver\n");
  EXPECT_THAT(archive_entries(folder.path() / "export.zip"),
              ElementsAre(testing::Pair("reports/station_3/manual_reports/1_diag.log", "x")));
}

TEST_F(ServiceParameters, PutReportsBelowTheWorkingDirectory) {
  given_report("diag.log", 1);
  EXPECT_TRUE(fs::exists(folder.path() / "reports/station_3/manual_reports/1_diag.log"));
}

TEST_F(ServiceParameters, LetAnnouncedFirmwareFailAfterTheConfiguredTime) {
  std::string uri;
  unsigned int id = 0;
  ASSERT_EQ(client.store_firmware({"2.1", {"X7-22"}}, uri, id).value, store_firmware_result::announced);
  EXPECT_TRUE(log.wait_for(spdlog::level::err, "[fw_storage_mgr] Timeout for the upload of firmware", 60s));
}

}  // namespace
}  // namespace tavi::stations_maintenance
