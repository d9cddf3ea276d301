#include <fstream>
#include <map>
#include <set>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <nlohmann/json.hpp>

#include "fake_stations_maintenance_service.h"
#include "ipc_raw_peer.h"
#include "ipc_test.h"
#include "mock_stations_maintenance_handler.h"
#include "spawned_program.h"
#include "stations_maintenance/req_resp_stations_maintenance_service_handler.h"

namespace tavi::stations_maintenance {
namespace {

using nlohmann::json;
using spdlog::level::warn;

/// The lines of the examples that the document has for the service.
std::vector<std::string> documented_examples() {
  std::ifstream document(DOCUMENTATION_FOLDER "/ipc.md");
  std::vector<std::string> lines;
  bool in_section = false;
  for (std::string line; std::getline(document, line);) {
    if (line.starts_with("## ")) {
      in_section = line == "## Stations maintenance service";
    } else if (in_section && line.starts_with("{")) {
      lines.push_back(line);
    }
  }
  return lines;
}

/// A service in the state in which the document's examples begin.
class DocumentedForm : public ipc_test {
 protected:
  DocumentedForm() {
    handler.upload_token = "q1Zk5h0yXw3vB8mTq1Zk5h0yXw3vB8mTq1Zk5h0yXw3";
    handler.add(7, {"X7-22", true});
    handler.add(8, {"X7-44", false});
    handler.add(station_firmware_info{3,
                                      "2.1.0",
                                      "/var/lib/stations/firmware/3_x7.bin",
                                      524288,
                                      "9f86d081884c7d659a2feaa0c55ad015a3bf4f1b2b0b822cd15d6c15b0f00a08",
                                      {"X7-22"},
                                      station_firmware_status::available});
    handler.add(diagnostic_report_info{41, 8, "log.zip", 1795180000, diagnostic_report_type::periodic, 1024});
    handler.add(
        diagnostic_report_info{42, 7, "diagnostics.zip", 1795183509, diagnostic_report_type::manual, 48213});
    EXPECT_TRUE(server.start());
  }

  fake_stations_maintenance_service handler;
  req_resp_stations_maintenance_service_handler server{handler};
};

TEST_F(DocumentedForm, IsWhatTheServiceSpeaks) {
  raw_peer peer(zmq::socket_type::req, socket("stations_maintenance_service.req"));
  auto const lines = documented_examples();
  ASSERT_EQ(lines.size() % 2, 0U);
  std::set<std::string> operations;
  for (std::size_t at = 0; at < lines.size(); at += 2) {
    EXPECT_EQ(peer.ask({lines[at]}), json::parse(lines[at + 1])) << lines[at];
    operations.insert(json::parse(lines[at])["operation"].get<std::string>());
  }
  EXPECT_EQ(operations.size(), 15U);
}

/// The result that travels when a service's own operation answers with a code.
class ResultOnTheWire : public ipc_test {
 protected:
  /// Serves one request, so that what was expected before is seen by the thread that answers.
  json result_of(char const* operation, char const* arguments) {
    raw_peer peer(zmq::socket_type::req, socket("stations_maintenance_service.req"));
    json const request = {{"protocol", 1}, {"operation", operation}, {"arguments", json::parse(arguments)}};
    EXPECT_TRUE(server.start());
    auto const reply = peer.ask({request.dump()});
    EXPECT_TRUE(server.stop());
    return reply.at("result");
  }

  testing::NiceMock<mock_stations_maintenance_handler> handler;
  req_resp_stations_maintenance_service_handler server{handler};
};

TEST_F(ResultOnTheWire, OfAnAnnouncementIsItsNumber) {
  using result = store_firmware_result;
  for (auto const& [code, number] : std::map<result, int>{{result::announced, 0},
                                                          {result::version_refused, 1},
                                                          {result::limit_reached, 2},
                                                          {result::model_refused, 3},
                                                          {result::failed, -1}}) {
    EXPECT_CALL(handler, on_store_firmware).WillOnce(testing::Return(code));
    EXPECT_EQ(result_of("store_firmware", R"([{"version":"1","models":["X7"]}])"), number);
  }
}

TEST_F(ResultOnTheWire, OfADeletionOfFirmwareIsItsNumber) {
  using result = delete_firmware_result;
  for (auto const& [code, number] : std::map<result, int>{
           {result::deleted, 0}, {result::unknown_firmware, 1}, {result::row_not_deleted, 2}}) {
    EXPECT_CALL(handler, on_delete_firmware).WillOnce(testing::Return(code));
    EXPECT_EQ(result_of("delete_firmware", "[7]"), number);
  }
}

TEST_F(ResultOnTheWire, OfADeletionOfReportsIsItsNumber) {
  using result = delete_reports_result;
  for (auto const& [code, number] : std::map<result, unsigned int>{
           {result::deleted, 0U}, {result::none_matched, 1U}, {result::not_all_deleted, 2U}}) {
    EXPECT_CALL(handler, on_delete_diagnostic_reports).WillOnce(testing::Return(code));
    EXPECT_EQ(result_of("delete_diagnostic_reports", R"([{"diagnostic_ids":[1]}])"), number);
  }
}

TEST_F(ResultOnTheWire, OfAGenerationIsItsNumber) {
  using result = generation_result;
  for (auto const& [code, number] : std::map<result, unsigned int>{{result::accepted, 0U},
                                                                   {result::unknown_station, 1U},
                                                                   {result::not_connected, 2U},
                                                                   {result::failed, 4294967295U}}) {
    EXPECT_CALL(handler, on_generate_station_diagnostic_report).WillOnce(testing::Return(code));
    EXPECT_EQ(result_of("generate_station_diagnostic_report", "[7,1]"), number);
  }
}

struct refused_request {
  char const* name;
  char const* operation;
  char const* arguments;
  char const* told;
};

std::ostream& operator<<(std::ostream& out, refused_request const& one) {
  return out << one.name;
}

class RefusedRequest : public DocumentedForm, public testing::WithParamInterface<refused_request> {};

TEST_P(RefusedRequest, ChangesNothingAndTheServiceGoesOn) {
  raw_peer peer(zmq::socket_type::req, socket("stations_maintenance_service.req"));
  json const request = {
      {"protocol", 1}, {"operation", GetParam().operation}, {"arguments", json::parse(GetParam().arguments)}};
  auto const reply = peer.ask({request.dump()});
  EXPECT_EQ(reply.value("/error/code"_json_pointer, ""), "bad_request");
  EXPECT_NE(reply.value("/error/text"_json_pointer, "").find(GetParam().told), std::string::npos) << reply;
  EXPECT_TRUE(log.holds(warn, GetParam().told));
  EXPECT_EQ(
      peer.ask({R"({"protocol":1,"operation":"get_diagnostics_folder_path","arguments":[]})"})["result"],
      "diagnostic_reports");
  EXPECT_EQ(handler.on_get_configuration()->max_periodic_report_per_station, 10U);
  EXPECT_EQ(handler.on_get_firmwares()->size(), 1U);
  EXPECT_EQ(handler.on_get_diagnostic_reports()->size(), 2U);
}

INSTANTIATE_TEST_SUITE_P(
    EveryKind, RefusedRequest,
    testing::Values(
        refused_request{"TooManyArguments", "get_configuration", "[1]", "expected 0 arguments, got 1"},
        refused_request{"TooFewArguments", "export_diagnostic_reports", R"([{"diagnostic_ids":[42]}])",
                        "expected 2 arguments, got 1"},
        refused_request{"NoRecord", "set_configuration", "[20]", "expected an object, got number"},
        refused_request{"FieldMissing", "set_configuration",
                        R"([{"max_periodic_report_per_station":1,"periodic_generation_enabled":true}])",
                        "field \"period_for_automatic_generation\" is missing"},
        refused_request{"NegativeMaximum", "set_configuration",
                        R"([{"max_periodic_report_per_station":-1,"periodic_generation_enabled":true,)"
                        R"("period_for_automatic_generation":1}])",
                        "from 0 to 4294967295"},
        refused_request{"FractionOfASecond", "set_configuration",
                        R"([{"max_periodic_report_per_station":1,"periodic_generation_enabled":true,)"
                        R"("period_for_automatic_generation":1.5}])",
                        "field \"period_for_automatic_generation\": expected a whole number"},
        refused_request{"NumberAsTruthValue", "set_configuration",
                        R"([{"max_periodic_report_per_station":1,"periodic_generation_enabled":1,)"
                        R"("period_for_automatic_generation":1}])",
                        "expected true or false"},
        refused_request{"VersionAsNumber", "store_firmware", R"([{"version":2.1,"models":["X7-22"]}])",
                        "field \"version\": expected a text"},
        refused_request{"VersionLeftOut", "store_firmware", R"([{"models":["X7-22"]}])",
                        "field \"version\" is missing"},
        refused_request{"OneModelOutsideAList", "store_firmware", R"([{"version":"2","models":"X7-22"}])",
                        "field \"models\": expected an array"},
        refused_request{"FirmwareIdTooLarge", "delete_firmware", "[4294967296]", "from 0 to 4294967295"},
        refused_request{"ReportIdTooLarge", "delete_diagnostic_reports",
                        R"([{"diagnostic_ids":[2147483648]}])", "from -2147483648 to 2147483647"},
        refused_request{"ReportIdAsText", "delete_diagnostic_reports", R"([{"diagnostic_ids":["42"]}])",
                        "field \"diagnostic_ids\": expected a whole number"},
        refused_request{"FilterAsBareList", "delete_diagnostic_reports", "[[42]]", "expected an object"},
        refused_request{"DestinationNull", "export_diagnostic_reports", R"([{"diagnostic_ids":[42]},null])",
                        "argument 2: expected a text"},
        refused_request{"TypeTooLarge", "generate_station_diagnostic_report", "[7,2147483648]",
                        "argument 2: expected a whole number"},
        refused_request{"NegativeStation", "generate_station_diagnostic_report", "[-7,1]",
                        "argument 1: expected a whole number"}),
    [](auto const& row) { return row.param.name; });

}  // namespace
}  // namespace tavi::stations_maintenance
