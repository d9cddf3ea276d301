#include <atomic>
#include <chrono>
#include <future>
#include <stdexcept>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include <nlohmann/json.hpp>

#include "client_fixture.h"
#include "spawned_program.h"

namespace tavi::stations_maintenance {
namespace {

using mura_common::call_failure;
using spdlog::level::err;
using spdlog::level::warn;
using testing::InvokeWithoutArgs;
using testing::Return;

constexpr std::chrono::milliseconds little(60);

/// Calls one of the operations; gives whether it brought a value, and why not.
struct operation_case {
  char const* name;
  std::pair<bool, call_failure> (*call)(req_resp_stations_maintenance_service& client,
                                        std::chrono::milliseconds bulk_limit);
};

std::ostream& operator<<(std::ostream& out, operation_case const& one) {
  return out << one.name;
}

template <typename T>
std::pair<bool, call_failure> told_by(mura_common::call_result<T> const& answer) {
  return {answer.value.has_value(), answer.failure};
}

using tested = req_resp_stations_maintenance_service;
using limit = std::chrono::milliseconds;

std::pair<bool, call_failure> store_firmware(tested& client, limit) {
  std::string uri = "unchanged";
  unsigned int id = 17;
  auto const told = told_by(client.store_firmware({}, uri, id));
  EXPECT_EQ(uri, "unchanged");
  EXPECT_EQ(id, 17U);
  return told;
}

std::pair<bool, call_failure> generate(tested& client, limit) {
  unsigned int request = 17;
  auto const told =
      told_by(client.generate_station_diagnostic_report(7, diagnostic_report_type::manual, request));
  EXPECT_EQ(request, 17U);
  return told;
}

auto const every_operation = testing::Values(
    operation_case{"get_configuration",
                   [](tested& client, limit) { return told_by(client.get_configuration()); }},
    operation_case{"set_configuration",
                   [](tested& client, limit) { return told_by(client.set_configuration({})); }},
    operation_case{"get_firmwares", [](tested& client, limit) { return told_by(client.get_firmwares()); }},
    operation_case{"store_firmware", store_firmware},
    operation_case{"get_firmware", [](tested& client, limit) { return told_by(client.get_firmware(1)); }},
    operation_case{"delete_firmware",
                   [](tested& client, limit) { return told_by(client.delete_firmware(1)); }},
    operation_case{"get_charging_station_firmware",
                   [](tested& client, limit) { return told_by(client.get_charging_station_firmware(7)); }},
    operation_case{
        "delete_diagnostic_reports",
        [](tested& client, limit bulk) { return told_by(client.delete_diagnostic_reports({}, bulk)); }},
    operation_case{"get_diagnostic_reports",
                   [](tested& client, limit) { return told_by(client.get_diagnostic_reports()); }},
    operation_case{
        "export_diagnostic_reports",
        [](tested& client, limit bulk) { return told_by(client.export_diagnostic_reports({}, "a", bulk)); }},
    operation_case{"get_station_diagnostic_reports",
                   [](tested& client, limit) { return told_by(client.get_station_diagnostic_reports(7)); }},
    operation_case{"generate_station_diagnostic_report", generate},
    operation_case{"get_diagnostics_folder_path",
                   [](tested& client, limit) { return told_by(client.get_diagnostics_folder_path()); }},
    operation_case{"get_working_directory",
                   [](tested& client, limit) { return told_by(client.get_working_directory()); }},
    operation_case{"get_firmware_file",
                   [](tested& client, limit) { return told_by(client.get_firmware_file(1)); }});

class EveryOperation : public ipc_test, public testing::WithParamInterface<operation_case> {
 protected:
  req_resp_stations_maintenance_service client{{little, little, little}};
};

TEST_P(EveryOperation, TellsThatTheServiceIsAway) {
  EXPECT_EQ(GetParam().call(client, little), std::pair(false, call_failure::not_reached));
  EXPECT_TRUE(log.holds(warn, std::string("stations_maintenance_service gave no answer to ") +
                                  GetParam().name + " within 60 ms"));
}

TEST_P(EveryOperation, TellsThatAServiceOfAnotherKindRefuses) {
  mura_common::request_server other("stations_maintenance_service");
  ASSERT_TRUE(other.start());
  req_resp_stations_maintenance_service patient({generous, generous, generous});
  ASSERT_TRUE(patient.init());
  EXPECT_EQ(GetParam().call(patient, generous), std::pair(false, call_failure::refused));
  EXPECT_TRUE(log.holds(warn, "unknown_operation"));
}

INSTANTIATE_TEST_SUITE_P(FailedRequests, EveryOperation, every_operation,
                         [](auto const& row) { return row.param.name; });

class FailedRequests : public RequestsTest {};

TEST_F(FailedRequests, AreTheAnswerToAnExceptionAndTheServiceGoesOn) {
  EXPECT_CALL(handler, on_get_diagnostics_folder_path())
      .WillOnce([]() -> std::string { throw std::runtime_error("secret reason"); })
      .WillOnce([]() -> std::string { throw 17; })
      .WillOnce(Return("reports"));
  auto const answer = client.get_diagnostics_folder_path();
  EXPECT_EQ(answer.failure, call_failure::refused);
  EXPECT_EQ(answer.reason, "failed: the operation failed");
  EXPECT_TRUE(log.holds(err, "secret reason"));
  EXPECT_TRUE(log.holds(warn, "failed"));
  EXPECT_EQ(client.get_diagnostics_folder_path().failure, call_failure::refused);
  EXPECT_EQ(client.get_diagnostics_folder_path().value, "reports");
}

TEST_F(FailedRequests, LeaveOutParametersAsTheyWere) {
  EXPECT_CALL(handler, on_store_firmware)
      .WillOnce([](auto const&, auto& uri, auto& id) -> store_firmware_result {
        uri = "half made";
        id = 1;
        throw std::runtime_error("too late");
      });
  std::string uri = "unchanged";
  unsigned int id = 17;
  EXPECT_EQ(client.store_firmware({}, uri, id).value, std::nullopt);
  EXPECT_EQ(uri, "unchanged");
  EXPECT_EQ(id, 17U);
}

TEST_F(FailedRequests, AreNoneOnceTheServiceHasStartedAgain) {
  EXPECT_CALL(handler, on_delete_firmware(1)).WillRepeatedly(Return(delete_firmware_result::deleted));
  EXPECT_EQ(client.delete_firmware(1).value, delete_firmware_result::deleted);
  EXPECT_TRUE(server.stop());
  req_resp_stations_maintenance_service hurried({little, little, little});
  EXPECT_EQ(hurried.delete_firmware(1).failure, call_failure::not_reached);
  EXPECT_TRUE(server.start());
  EXPECT_EQ(client.delete_firmware(1).value, delete_firmware_result::deleted);
}

TEST_F(FailedRequests, AreToldWhenAReplyIsOfAnotherType) {
  EXPECT_TRUE(server.stop());
  mura_common::request_server other("stations_maintenance_service");
  other.add("get_firmware", [](nlohmann::json const&) {
    return nlohmann::json{{"result", {{"id", 1}, {"version", "2"}}}};
  });
  ASSERT_TRUE(other.start());
  EXPECT_EQ(client.get_firmware(1).failure, call_failure::malformed);
  EXPECT_TRUE(log.holds(warn, "field \"path\" is missing"));
}

/// An export that lasts until the gate is opened.
class LongExport : public RequestsTest {
 protected:
  LongExport() {
    EXPECT_CALL(handler, on_export_diagnostic_reports).WillRepeatedly(InvokeWithoutArgs([this] {
      has_begun = true;
      begun.open();
      end.pass();
      return false;
    }));
  }

  std::atomic<bool> has_begun = false;
  gate begun;
  gate end;
};

TEST_F(LongExport, IsWaitedForBeyondTheLimitOfQueries) {
  // The query that nobody waits for any more is answered all the same, if it was sent before it was given up.
  EXPECT_CALL(handler, on_get_diagnostics_folder_path()).Times(testing::AtMost(1));
  req_resp_stations_maintenance_service hurried({generous, little, little});
  auto result =
      std::async(std::launch::async, [&] { return hurried.export_diagnostic_reports({{1}}, "a.zip"); });
  ASSERT_TRUE(begun.pass());
  EXPECT_TRUE(has_no_answer(hurried.get_diagnostics_folder_path().failure));
  end.open();
  EXPECT_EQ(result.get().value, false);
}

TEST_F(LongExport, EndsWithItsOwnTimeOutAndDisturbsNoLaterCall) {
  EXPECT_CALL(handler, on_get_diagnostics_folder_path()).WillOnce(Return("reports"));
  // A machine under load may give the first ones up before they have left.
  for (int round = 0; round < 1000 && !has_begun; ++round) {
    EXPECT_TRUE(has_no_answer(client.export_diagnostic_reports({{1}}, "a.zip", little).failure));
  }
  EXPECT_TRUE(has_begun);
  end.open();
  EXPECT_EQ(client.get_diagnostics_folder_path().value, "reports");
}

class Requests : public RequestsTest {};

TEST_F(Requests, MayComeFromManyThreadsAtOnce) {
  constexpr unsigned int threads = 8;
  constexpr unsigned int calls = 25;
  EXPECT_CALL(handler, on_get_firmware).Times(threads * calls).WillRepeatedly([](unsigned int const& id) {
    station_firmware_info firmware;
    firmware.id = id;
    return std::optional(firmware);
  });
  std::vector<std::thread> callers;
  for (unsigned int number = 0; number < threads; ++number) {
    callers.emplace_back([&, number] {
      for (unsigned int call = 0; call < calls; ++call) {
        auto const answer = client.get_firmware(number);
        ASSERT_TRUE(answer.value.has_value() && answer.value->has_value());
        EXPECT_EQ((*answer.value)->id, number);
      }
    });
  }
  for (auto& caller : callers) {
    caller.join();
  }
}

TEST_F(Requests, AreAnsweredByOneServerOnly) {
  req_resp_stations_maintenance_service_handler second(handler);
  EXPECT_FALSE(second.start());
  EXPECT_TRUE(log.holds(err, "stations_maintenance_service.req is held by another server already"));
}

class ServerProcess : public ipc_test {};

TEST_F(ServerProcess, IsMissedWhenKilledAndFoundWhenItIsBack) {
  req_resp_stations_maintenance_service client({generous, generous, generous});
  req_resp_stations_maintenance_service hurried({little, little, little});
  {
    spawned_program server({MAINTENANCE_TEST_SERVER});
    ASSERT_EQ(server.read_until("!"), "!");
    ASSERT_TRUE(client.init());
    EXPECT_EQ(client.delete_firmware(1).value, delete_firmware_result::unknown_firmware);
    server.kill_hard();
  }
  EXPECT_EQ(hurried.delete_firmware(1).failure, call_failure::not_reached);
  spawned_program server({MAINTENANCE_TEST_SERVER});
  ASSERT_EQ(server.read_until("!"), "!");
  EXPECT_EQ(client.delete_firmware(1).value, delete_firmware_result::unknown_firmware);
}

TEST_F(ServerProcess, FailsTheClientsStartWhenItIsAway) {
  req_resp_stations_maintenance_service client({little, generous, generous});
  EXPECT_FALSE(client.init());
  ASSERT_EQ(log.lines().size(), 1U);
  EXPECT_TRUE(log.holds(err, "stations_maintenance_service did not answer within 60 ms"));
}

}  // namespace
}  // namespace tavi::stations_maintenance
