#include "text/record_json.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "text/record_names.h"
#include "text/record_text.h"

namespace tavi::ctl {
namespace {

using stations_maintenance::diagnostic_report_info;
using stations_maintenance::diagnostic_report_type;
using stations_maintenance::station_firmware_info;
using stations_maintenance::station_firmware_status;
using stations_maintenance::stations_maintenance_configuration;

constexpr std::chrono::system_clock::time_point time_of_list(std::chrono::seconds{1795179909});
constexpr table_style plain_style{};
constexpr table_style aligned_style{true, false};

diagnostic_report_info const listed_report = {
    5, 3, "log.tar.gz", 1795179909 - 7260, diagnostic_report_type::manual, 2048};
station_firmware_info const firmware = {7,     "2.1.0",         "/upload/firmware/7_fw.bin",       1536,
                                        "abc", {"X7-22", "X9"}, station_firmware_status::available};

TEST(RecordAsJson, ReportHasTheFieldsOfTheRecord) {
  EXPECT_EQ(
      json_text(json_of(listed_report), true),
      R"({"diagnostic_id":5,"station_id":3,"diagnostic_name":"log.tar.gz","timestamp_creation":1795172649,)"
      R"("type":"manual","size":2048})"
      "\n");
}

TEST(RecordAsJson, FirmwareHasTheFieldsOfTheRecord) {
  EXPECT_EQ(json_text(json_of(firmware), true),
            R"({"id":7,"version":"2.1.0","path":"/upload/firmware/7_fw.bin","size":1536,"hash":"abc",)"
            R"("models":["X7-22","X9"],"status":"available"})"
            "\n");
}

TEST(RecordAsJson, ConfigurationHasTheFieldsOfTheRecord) {
  stations_maintenance_configuration const configuration = {5, true, std::chrono::hours(24)};
  EXPECT_EQ(json_text(json_of(configuration), true),
            R"({"max_periodic_report_per_station":5,"periodic_generation_enabled":true,)"
            R"("period_for_automatic_generation":86400})"
            "\n");
}

TEST(RecordAsJson, ListIsAnArrayEvenWhenEmpty) {
  EXPECT_EQ(json_text(json_of(std::vector<diagnostic_report_info>{})), "[]\n");
  EXPECT_EQ(json_of(std::vector<station_firmware_info>{firmware, firmware}).size(), 2U);
}

TEST(JsonText, IsAsciiWhateverNamesHold) {
  json const document = {{"name", "\x1b[2J\xc2\x9b\x7f\xc3\xa4\xff"}};
  EXPECT_EQ(json_text(document, true), "{\"name\":\"\\u001b[2J\\u009b\\u007f\\u00e4\\ufffd\"}\n");
}

TEST(RecordName, IsThatOfTheEnumerator) {
  EXPECT_EQ(name_of(diagnostic_report_type::periodic), "periodic");
  EXPECT_EQ(name_of(diagnostic_report_type::manual), "manual");
  EXPECT_EQ(name_of(station_firmware_status::none), "none");
  EXPECT_EQ(name_of(station_firmware_status::available), "available");
  EXPECT_EQ(name_of(station_firmware_status::pending_upload), "pending_upload");
  EXPECT_EQ(name_of(station_firmware_status::being_processed), "being_processed");
  EXPECT_EQ(name_of(station_firmware_status::without_version), "without_version");
  EXPECT_EQ(name_of(station_firmware_status::failed), "failed");
  EXPECT_EQ(name_of(stations::station_diagnostics_status::upload_failed), "upload_failed");
  EXPECT_EQ(name_of(stations::cs_request_status::timed_out), "timed_out");
}

TEST(RecordName, OfAValueWithoutOneIsUnknown) {
  EXPECT_EQ(name_of(static_cast<diagnostic_report_type>(-1)), "unknown");
  EXPECT_EQ(name_of(static_cast<station_firmware_status>(3)), "unknown");
  EXPECT_EQ(name_of(static_cast<stations::station_diagnostics_status>(4)), "unknown");
  EXPECT_EQ(name_of(static_cast<stations::cs_request_status>(3)), "unknown");
}

TEST(RecordAsText, ReportsShowAgesAndRoundedSizesToPeople) {
  EXPECT_EQ(text_of({listed_report}, time_of_list, {}, aligned_style),
            "ID  STATION  TYPE    AGE       SIZE  NAME\n"
            " 5        3  manual  2h 1m  2.0 KiB  log.tar.gz\n");
}

TEST(RecordAsText, ReportsShowMomentsAndBytesToPrograms) {
  EXPECT_EQ(text_of({listed_report}, time_of_list, {}, plain_style),
            "5\t3\tmanual\t2026-11-20T11:04:09Z\t2048\tlog.tar.gz\n");
}

TEST(RecordAsText, ReportsShowTheirTimesAsWanted) {
  setenv("TZ", "UTC-5:30", 1);
  for (auto const& [form, aligned, plain] :
       {std::tuple{time_form::age, "AGE       SIZE  NAME\n 5        3  manual  2h 1m  ", "manual\t2h 1m\t"},
        std::tuple{time_form::utc,
                   "TIME                     SIZE  NAME\n 5        3  manual  2026-11-20T11:04:09Z  ",
                   "manual\t2026-11-20T11:04:09Z\t"},
        std::tuple{
            time_form::local,
            "TIME                          SIZE  NAME\n 5        3  manual  2026-11-20T16:34:09+05:30  ",
            "manual\t2026-11-20T16:34:09+05:30\t"}}) {
    EXPECT_THAT(text_of({listed_report}, time_of_list, form, aligned_style), testing::HasSubstr(aligned));
    EXPECT_THAT(text_of({listed_report}, time_of_list, form, plain_style), testing::HasSubstr(plain));
  }
  unsetenv("TZ");
}

TEST(RecordAsText, FirmwareListHasALineEach) {
  EXPECT_EQ(text_of(std::vector<station_firmware_info>{firmware}, plain_style),
            "7\t2.1.0\tavailable\t1536\tX7-22,X9\t/upload/firmware/7_fw.bin\n");
}

TEST(RecordAsText, OneFirmwareHasALineForEachField) {
  EXPECT_EQ(text_of(firmware, aligned_style),
            "id       7\nversion  2.1.0\nstatus   available\nmodels   X7-22,X9\nsize     1.5 KiB\n"
            "hash     abc\npath     /upload/firmware/7_fw.bin\n");
}

TEST(RecordAsText, AFirmwareWithoutAFileShowsDashes) {
  station_firmware_info const announced = {8, "", "", 0, "", {"X7"}, station_firmware_status::pending_upload};
  EXPECT_EQ(text_of(announced, plain_style),
            "id\t8\nversion\t-\nstatus\tpending_upload\nmodels\tX7\nsize\t0\nhash\t-\npath\t-\n");
}

TEST(RecordAsText, ConfigurationShowsItsPeriodInUnitsToPeopleAndInSecondsToPrograms) {
  stations_maintenance_configuration const configuration = {5, true, std::chrono::hours(36)};
  EXPECT_EQ(text_of(configuration, aligned_style),
            "max_periodic_report_per_station  5\nperiodic_generation_enabled      true\n"
            "period_for_automatic_generation  1d12h\n");
  EXPECT_EQ(text_of(configuration, plain_style),
            "max_periodic_report_per_station\t5\nperiodic_generation_enabled\ttrue\n"
            "period_for_automatic_generation\t129600\n");
}

}  // namespace
}  // namespace tavi::ctl
