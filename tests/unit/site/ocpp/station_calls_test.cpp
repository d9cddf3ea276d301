#include "ocpp/station_calls.h"

#include <ostream>

#include <gtest/gtest.h>

#include "ocpp/payload_rules.h"

namespace tavi::site::ocpp {

using ocpp_wire::error_code;

namespace {

using nlohmann::json;
using tavi::stations::station_diagnostics_status;

struct call_case {
  std::string name;
  std::string action;
  std::string payload;
  std::optional<error_code> expected;
};

void PrintTo(call_case const& row, std::ostream* out) {
  *out << row.name << ": " << row.action << ' ' << row.payload.substr(0, 120);
}

class station_call : public testing::TestWithParam<call_case> {};

TEST_P(station_call, IsTakenOrRefusedWithItsCode) {
  auto const& row = GetParam();
  auto const found = check_station_call(row.action, json::parse(row.payload));
  ASSERT_EQ(found.has_value(), row.expected.has_value())
      << (found.has_value() ? found->description : "taken");
  if (found.has_value()) {
    EXPECT_EQ(found->code, *row.expected) << name_of(found->code) << ": " << found->description;
    EXPECT_FALSE(found->description.empty());
    EXPECT_LE(found->description.size(), 255U);
  }
}

constexpr auto taken = std::nullopt;
constexpr auto missing = error_code::occurence_constraint_violation;
constexpr auto wrong_type = error_code::type_constraint_violation;
constexpr auto wrong_value = error_code::property_constraint_violation;
constexpr auto too_few = error_code::occurence_constraint_violation;

std::string text_of(std::size_t length) {
  return std::string(length, 'v');
}

/// Characters of two bytes each.
std::string umlauts_of(std::size_t length) {
  std::string text;
  for (std::size_t count = 0; count < length; ++count) {
    text += "\u00e4";
  }
  return text;
}

std::string boot(std::string const& vendor, std::string const& more = "") {
  return R"({"chargePointVendor":)" + vendor + R"(,"chargePointModel":"X7")" + more + "}";
}

auto name_of_row = [](auto const& row) { return row.param.name; };

INSTANTIATE_TEST_SUITE_P(
    Boot, station_call,
    testing::Values(
        call_case{"Complete", "BootNotification", boot(R"("Acme")", R"(,"firmwareVersion":"1.2")"), taken},
        call_case{"UnknownFieldIsIgnored", "BootNotification", boot(R"("Acme")", R"(,"colour":"red")"),
                  taken},
        call_case{"NullIsLeftOut", "BootNotification", boot(R"("Acme")", R"(,"iccid":null)"), taken},
        call_case{"LongestVendor", "BootNotification", boot('"' + text_of(20) + '"'), taken},
        call_case{"VendorTooLong", "BootNotification", boot('"' + text_of(21) + '"'), wrong_value},
        call_case{"LongestVendorOfUmlauts", "BootNotification", boot('"' + umlauts_of(20) + '"'), taken},
        call_case{"VendorOfUmlautsTooLong", "BootNotification", boot('"' + umlauts_of(21) + '"'),
                  wrong_value},
        call_case{"LongestVendorOfEmoji", "BootNotification", boot('"' + text_of(19) + "\U0001F50C\""),
                  taken},
        call_case{"VendorIsANumber", "BootNotification", boot("7"), wrong_type},
        call_case{"VendorIsNull", "BootNotification", boot("null"), missing},
        call_case{"NoModel", "BootNotification", R"({"chargePointVendor":"Acme"})", missing},
        call_case{"Nothing", "BootNotification", "{}", missing},
        call_case{"FirmwareTooLong", "BootNotification",
                  boot(R"("Acme")", R"(,"firmwareVersion":")" + text_of(51) + '"'), wrong_value},
        call_case{"SerialIsAList", "BootNotification", boot(R"("Acme")", R"(,"meterType":[])"), wrong_type}),
    name_of_row);

std::string status(std::string const& connector, std::string const& name, std::string const& error) {
  return R"({"connectorId":)" + connector + R"(,"status":)" + name + R"(,"errorCode":)" + error + "}";
}

INSTANTIATE_TEST_SUITE_P(
    Status, station_call,
    testing::Values(
        call_case{"Available", "StatusNotification", status("0", R"("Available")", R"("NoError")"), taken},
        call_case{"ConnectorBelowZero", "StatusNotification", status("-1", R"("Available")", R"("NoError")"),
                  wrong_value},
        call_case{"ConnectorIsText", "StatusNotification", status(R"("1")", R"("Available")", R"("NoError")"),
                  wrong_type},
        call_case{"ConnectorIsAFraction", "StatusNotification",
                  status("1.5", R"("Available")", R"("NoError")"), wrong_type},
        call_case{"ConnectorIsHuge", "StatusNotification",
                  status("18446744073709551615", R"("Available")", R"("NoError")"), wrong_value},
        call_case{"UnknownStatus", "StatusNotification", status("1", R"("Asleep")", R"("NoError")"),
                  wrong_value},
        call_case{"UnknownError", "StatusNotification", status("1", R"("Faulted")", R"("Fire")"),
                  wrong_value},
        call_case{"NoStatus", "StatusNotification", R"({"connectorId":1,"errorCode":"NoError"})", missing},
        call_case{"BrokenTime", "StatusNotification",
                  R"({"connectorId":1,"status":"Faulted","errorCode":"NoError","timestamp":"now"})",
                  wrong_value}),
    name_of_row);

INSTANTIATE_TEST_SUITE_P(
    Transactions, station_call,
    testing::Values(
        call_case{"Start", "StartTransaction",
                  R"({"connectorId":1,"idTag":"T","meterStart":-5,"timestamp":"2026-11-20T12:00:00Z"})",
                  taken},
        call_case{"StartAtConnectorZero", "StartTransaction",
                  R"({"connectorId":0,"idTag":"T","meterStart":0,"timestamp":"2026-11-20T12:00:00Z"})",
                  wrong_value},
        call_case{"StartWithoutTime", "StartTransaction", R"({"connectorId":1,"idTag":"T","meterStart":0})",
                  missing},
        call_case{"StartWithLongTag", "StartTransaction",
                  R"({"connectorId":1,"idTag":")" + text_of(21) +
                      R"(","meterStart":0,"timestamp":"2026-11-20T12:00:00Z"})",
                  wrong_value},
        call_case{"Stop", "StopTransaction",
                  R"({"transactionId":1,"meterStop":9,"timestamp":"2026-11-20T12:00:00Z","reason":"Local"})",
                  taken},
        call_case{
            "StopWithEmptyData", "StopTransaction",
            R"({"transactionId":1,"meterStop":9,"timestamp":"2026-11-20T12:00:00Z","transactionData":[]})",
            taken},
        call_case{"StopForUnknownReason", "StopTransaction",
                  R"({"transactionId":1,"meterStop":9,"timestamp":"2026-11-20T12:00:00Z","reason":"Mood"})",
                  wrong_value},
        call_case{
            "StopWithBrokenData", "StopTransaction",
            R"({"transactionId":1,"meterStop":9,"timestamp":"2026-11-20T12:00:00Z","transactionData":[7]})",
            wrong_type}),
    name_of_row);

std::string meter(std::string const& values) {
  return R"({"connectorId":1,"meterValue":)" + values + "}";
}

INSTANTIATE_TEST_SUITE_P(
    Meter, station_call,
    testing::Values(
        call_case{"OneValue", "MeterValues",
                  meter(R"([{"timestamp":"2026-11-20T12:00:00.5+01:00","sampledValue":[{"value":"7.4"}]}])"),
                  taken},
        call_case{"NoValues", "MeterValues", meter("[]"), too_few},
        call_case{"NoSamples", "MeterValues",
                  meter(R"([{"timestamp":"2026-11-20T12:00:00Z","sampledValue":[]}])"), too_few},
        call_case{"SampleWithoutValue", "MeterValues",
                  meter(R"([{"timestamp":"2026-11-20T12:00:00Z","sampledValue":[{"unit":"Wh"}]}])"), missing},
        call_case{"SampleIsANumber", "MeterValues",
                  meter(R"([{"timestamp":"2026-11-20T12:00:00Z","sampledValue":[{"value":7}]}])"),
                  wrong_type},
        call_case{"ValuesAreAnObject", "MeterValues", meter("{}"), wrong_type}),
    name_of_row);

INSTANTIATE_TEST_SUITE_P(
    Others, station_call,
    testing::Values(
        call_case{"Heartbeat", "Heartbeat", "{}", taken},
        call_case{"Authorize", "Authorize", R"({"idTag":"T"})", taken},
        call_case{"AuthorizeNobody", "Authorize", "{}", missing},
        call_case{"DataTransfer", "DataTransfer", R"({"vendorId":"acme","data":"x"})", taken},
        call_case{"DataTransferOfNobody", "DataTransfer", R"({"data":"x"})", missing},
        call_case{"Diagnostics", "DiagnosticsStatusNotification", R"({"status":"Uploading"})", taken},
        call_case{"DiagnosticsUnknown", "DiagnosticsStatusNotification", R"({"status":"Lost"})", wrong_value},
        call_case{"DiagnosticsMissing", "DiagnosticsStatusNotification", "{}", missing},
        call_case{"Firmware", "FirmwareStatusNotification", R"({"status":"Installed"})", taken},
        call_case{"FirmwareUnknown", "FirmwareStatusNotification", R"({"status":"Melted"})", wrong_value},
        call_case{"SentTheWrongWay", "GetDiagnostics", "{}", error_code::not_supported},
        call_case{"OfAnExtension", "SecurityEventNotification", "{}", error_code::not_supported},
        call_case{"Unknown", "MakeCoffee", "{}", error_code::not_implemented},
        call_case{"OtherCase", "heartbeat", "{}", error_code::not_implemented},
        call_case{"Empty", "", "{}", error_code::not_implemented}),
    name_of_row);

TEST(PayloadRules, DateAndTimeAreRecognised) {
  EXPECT_TRUE(is_date_time("2026-11-20T14:05:09"));
  EXPECT_TRUE(is_date_time("2026-11-20T14:05:09.123+01:00"));
  EXPECT_FALSE(is_date_time("2026-11-20"));
  EXPECT_FALSE(is_date_time("2026-11-20 14:05:09"));
  EXPECT_FALSE(is_date_time("2026-11-2XT14:05:09"));
  EXPECT_FALSE(is_date_time("2026-11-20T14:05:09" + text_of(30)));
  EXPECT_FALSE(is_date_time(""));
}

TEST(DiagnosticsStatus, IsReadFromItsName) {
  EXPECT_EQ(to_diagnostics_status("Idle"), station_diagnostics_status::idle);
  EXPECT_EQ(to_diagnostics_status("Uploaded"), station_diagnostics_status::uploaded);
  EXPECT_EQ(to_diagnostics_status("UploadFailed"), station_diagnostics_status::upload_failed);
  EXPECT_EQ(to_diagnostics_status("Uploading"), station_diagnostics_status::uploading);
}

TEST(DiagnosticsAnswer, NamesAFileOrNone) {
  EXPECT_EQ(read_diagnostics_file_name({{"fileName", "log.zip"}}), "log.zip");
  EXPECT_EQ(read_diagnostics_file_name({{"fileName", ""}}), "");
  EXPECT_EQ(read_diagnostics_file_name({{"fileName", nullptr}}), "");
  EXPECT_EQ(read_diagnostics_file_name(json::object()), "");
  EXPECT_EQ(read_diagnostics_file_name({{"fileName", 7}}), std::nullopt);
  EXPECT_EQ(read_diagnostics_file_name({{"fileName", text_of(256)}}), std::nullopt);
  EXPECT_EQ(read_diagnostics_file_name(json::array()), std::nullopt);
}

}  // namespace
}  // namespace tavi::site::ocpp
