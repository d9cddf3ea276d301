#include "diagnostics_request.h"

#include <string>
#include <vector>

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include "boot_answer.h"

namespace {

using namespace tavi::simulator;
using namespace std::chrono_literals;
using nlohmann::json;

struct request_row {
  char const* name;
  std::string payload;
  unsigned int retries;
  std::chrono::seconds interval;
};

TEST(DiagnosticsRequest, ReadsRetriesAndTheirInterval) {
  std::vector<request_row> const rows = {
      {"neither", R"({"location":"x"})", 1, 2s},
      {"both", R"({"location":"x","retries":3,"retryInterval":10})", 3, 10s},
      {"none", R"({"location":"x","retries":0,"retryInterval":0})", 0, 0s},
      {"at the limits", R"({"location":"x","retries":100,"retryInterval":86400})", 100, 86400s},
      {"over the limits", R"({"location":"x","retries":101,"retryInterval":86401})", 100, 86400s},
      {"huge", R"({"location":"x","retries":18446744073709551615,"retryInterval":9223372036854775808})", 100,
       86400s},
      {"times of the log", R"({"location":"x","startTime":"a","stopTime":5})", 1, 2s},
  };
  for (auto const& row : rows) {
    SCOPED_TRACE(row.name);
    auto const parsed = parse_diagnostics_request(json::parse(row.payload));
    auto const* request = std::get_if<diagnostics_request>(&parsed);
    ASSERT_NE(request, nullptr);
    EXPECT_EQ(request->location, "x");
    EXPECT_EQ(request->retries, row.retries);
    EXPECT_EQ(request->retry_interval, row.interval);
  }
}

TEST(DiagnosticsRequest, NamesTheFault) {
  std::vector<std::pair<std::string, std::string>> const rows = {
      {R"({})", "OccurenceConstraintViolation"},
      {R"({"location":null})", "TypeConstraintViolation"},
      {R"({"location":["x"]})", "TypeConstraintViolation"},
      {R"({"location":"x","retries":"3"})", "TypeConstraintViolation"},
      {R"({"location":"x","retries":1.5})", "TypeConstraintViolation"},
      {R"({"location":"x","retryInterval":null})", "TypeConstraintViolation"},
      {R"({"location":"x","retries":-1})", "PropertyConstraintViolation"},
      {R"({"location":"x","retryInterval":-1})", "PropertyConstraintViolation"},
  };
  for (auto const& [payload, code] : rows) {
    auto const parsed = parse_diagnostics_request(json::parse(payload));
    auto const* fault = std::get_if<tavi::ocpp_wire::refusal>(&parsed);
    ASSERT_NE(fault, nullptr) << payload;
    EXPECT_EQ(name_of(fault->code), code) << payload;
  }
}

TEST(DiagnosticsRequest, NamesTheArchiveAfterStationAndTime) {
  std::chrono::system_clock::time_point const moment(1795183509s);
  EXPECT_EQ(make_diagnostics_file_name("CS-001", moment), "diagnostics_CS-001_20261120T140509Z.tar.gz");
}

TEST(DiagnosticsRequest, RetriesAfterAnswersThatSpeakOfTheMomentOnly) {
  for (unsigned int const status : {408U, 409U, 425U, 429U, 500U, 503U, 507U, 599U}) {
    EXPECT_TRUE(is_worth_retrying(status)) << status;
  }
  for (unsigned int const status : {200U, 301U, 400U, 401U, 403U, 404U, 410U, 411U, 413U, 499U, 600U}) {
    EXPECT_FALSE(is_worth_retrying(status)) << status;
  }
}

struct boot_row {
  char const* name;
  json payload;
  bool is_accepted;
  std::chrono::seconds interval;
};

TEST(BootAnswer, DecidesWhetherAndWhenToGoOn) {
  std::vector<boot_row> const rows = {
      {"accepted", {{"status", "Accepted"}, {"interval", 300}}, true, 300s},
      {"pending", {{"status", "Pending"}, {"interval", 10}}, false, 10s},
      {"rejected", {{"status", "Rejected"}, {"interval", 10}}, false, 10s},
      {"interval left to the station", {{"status", "Accepted"}, {"interval", 0}}, true, 60s},
      {"no interval", {{"status", "Accepted"}}, true, 60s},
      {"negative interval", {{"status", "Accepted"}, {"interval", -5}}, true, 60s},
      {"interval of text", {{"status", "Accepted"}, {"interval", "5"}}, true, 60s},
      {"interval beyond a day", {{"status", "Accepted"}, {"interval", 18446744073709551615U}}, true, 86400s},
      {"unknown status", {{"status", "Maybe"}, {"interval", 5}}, false, 5s},
      {"status of another type", {{"status", 1}}, false, 60s},
      {"empty", json::object(), false, 60s},
      {"no answer", json(), false, 60s},
      {"an array", json::array({1}), false, 60s},
  };
  for (auto const& row : rows) {
    // By way of text, because that is how numbers get the type they have after reading.
    auto const decision = read_boot_answer(json::parse(row.payload.dump()), 60s);
    EXPECT_EQ(decision.is_accepted, row.is_accepted) << row.name;
    EXPECT_EQ(decision.interval, row.interval) << row.name;
  }
}

}  // namespace
