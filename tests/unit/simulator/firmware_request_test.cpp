#include "firmware_request.h"

#include <ostream>
#include <string>

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

namespace {

using namespace std::chrono_literals;
using namespace tavi::simulator;
using nlohmann::json;

json payload_with(json const& more) {
  json payload = {{"location", "http://a/firmware/t/1.bin"}, {"retrieveDate", "2026-11-20T13:05:09Z"}};
  payload.update(more);
  return payload;
}

TEST(FirmwareRequest, HoldsWhatTheCallSays) {
  auto const parsed = parse_firmware_request(payload_with({{"retries", 5}, {"retryInterval", 7}}));
  auto const* request = std::get_if<firmware_request>(&parsed);
  ASSERT_NE(request, nullptr);
  EXPECT_EQ(request->location, "http://a/firmware/t/1.bin");
  EXPECT_EQ(request->retrieve_at, tavi::ocpp_wire::date_time(1795179909s));
  EXPECT_EQ(request->retries, 5U);
  EXPECT_EQ(request->retry_interval, 7s);
}

TEST(FirmwareRequest, HasDefaultsForWhatIsOptional) {
  auto const parsed = parse_firmware_request(payload_with(json::object()));
  auto const* request = std::get_if<firmware_request>(&parsed);
  ASSERT_NE(request, nullptr);
  EXPECT_EQ(request->retries, 3U);
  EXPECT_EQ(request->retry_interval, 10s);
}

TEST(FirmwareRequest, CutsWhatIsTooMuch) {
  auto const parsed =
      parse_firmware_request(payload_with({{"retries", 1000000}, {"retryInterval", 18446744073709551615U}}));
  auto const* request = std::get_if<firmware_request>(&parsed);
  ASSERT_NE(request, nullptr);
  EXPECT_EQ(request->retries, 100U);
  EXPECT_EQ(request->retry_interval, 24h);
}

struct fault_row {
  char const* situation;
  json payload;
  std::string code;
};

TEST(FirmwareRequest, IsRefusedWithTheRightCode) {
  auto const missing = "OccurenceConstraintViolation";
  auto const wrong_type = "TypeConstraintViolation";
  auto const wrong_value = "PropertyConstraintViolation";
  for (auto const& row :
       {fault_row{"nothing", json::object(), missing},
        fault_row{"no date", {{"location", "http://a/"}}, missing},
        fault_row{"no location", {{"retrieveDate", "2026-11-20T13:05:09Z"}}, missing},
        fault_row{"location is a number", payload_with({{"location", 7}}), wrong_type},
        fault_row{"date is a number", payload_with({{"retrieveDate", 7}}), wrong_type},
        fault_row{"date is none", payload_with({{"retrieveDate", "tomorrow"}}), wrong_value},
        fault_row{"retries are a text", payload_with({{"retries", "3"}}), wrong_type},
        fault_row{"retries below zero", payload_with({{"retries", -1}}), wrong_value},
        fault_row{"interval is a fraction", payload_with({{"retryInterval", 0.5}}), wrong_type},
        fault_row{"interval below zero", payload_with({{"retryInterval", -1}}), wrong_value}}) {
    auto const parsed = parse_firmware_request(row.payload);
    auto const* fault = std::get_if<tavi::ocpp_wire::refusal>(&parsed);
    ASSERT_NE(fault, nullptr) << row.situation;
    EXPECT_EQ(name_of(fault->code), row.code) << row.situation;
  }
}

struct version_row {
  std::string path;
  std::string version;
};

void PrintTo(version_row const& row, std::ostream* out) {
  *out << row.path;
}

class FirmwareVersion : public testing::TestWithParam<version_row> {};

TEST_P(FirmwareVersion, FollowsFromTheFileName) {
  EXPECT_EQ(make_firmware_version(GetParam().path, "0123456789abcdef"), GetParam().version);
}

INSTANTIATE_TEST_SUITE_P(
    Rows, FirmwareVersion,
    testing::Values(version_row{"/firmware/t/12_x7-22_2.1.0.bin", "2.1.0"},
                    version_row{"/f/x7-v3.4.tar.gz", "3.4"}, version_row{"/f/V10.20.30", "10.20.30"},
                    version_row{"/f/2.1.0.bin", "2.1.0"}, version_row{"/f/x7%202.1.0%20final.bin", "2.1.0"},
                    version_row{"/f/1.2_3.4.bin", "3.4"}, version_row{"/f/fw-3.4.5-rc1.bin", "3.4.5"},
                    version_row{"/f/x7.bin", "x7"}, version_row{"/f/3_firmware.bin", "3_firmware"},
                    version_row{"/f/a.b.c.bin", "a"}, version_row{"/f/x7..bin", "x7."},
                    version_row{"/f/v.1.bin", "v.1"}, version_row{"/f/1..2.bin", "1..2"},
                    version_row{"/f/1.2..bin", "1.2."}, version_row{"/f/v7.bin", "v7"},
                    version_row{"/f/.bin", "fw-01234567"}, version_row{"/f/x7.verylong", "fw-01234567"},
                    version_row{"/firmware/q1Zk5h0yXw3vB8mTq1Zk5h0yXw3vB8mTq1Zk5h0yXw3", "fw-01234567"},
                    version_row{"/firmware/token/", "fw-01234567"}, version_row{"/", "fw-01234567"},
                    version_row{"", "fw-01234567"}, version_row{"/f/%zz.bin", "fw-01234567"},
                    version_row{"/f/r%C3%A9%0A.bin", "r___"},
                    version_row{"/f/" + std::string(60, 'n') + ".bin", std::string(50, 'n')},
                    version_row{"/f/" + std::string(60, '1') + ".2.bin", std::string(50, '1')}));

}  // namespace
