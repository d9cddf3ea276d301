#include <chrono>
#include <future>
#include <mutex>
#include <stdexcept>
#include <vector>

#include <gmock/gmock.h>

#include "fake_ocpp_1_6_service.h"
#include "ipc_test.h"
#include "tavi/ocpp1_6/req_resp_ocpp_1_6_service.h"

namespace {

using tavi::ocpp1_6::req_resp_ocpp_1_6_service;
using tavi::ocpp1_6::req_resp_ocpp_1_6_service_handler;
using tavi::stations::charging_station;

class OcppClient : public ipc_test {
 protected:
  OcppClient() { service.add({1, "one", "Acme", "X7"}); }

  fake_ocpp_1_6_service service;
  req_resp_ocpp_1_6_service_handler server{service};
};

TEST_F(OcppClient, AnswersWithTheListLastReadWhenTheServiceIsAway) {
  ASSERT_TRUE(server.start());
  req_resp_ocpp_1_6_service client;
  ASSERT_TRUE(client.init());
  service.add({2, "two", "Acme", "X7"});
  EXPECT_EQ(client.get_charging_stations().size(), 2U);
  ASSERT_TRUE(server.stop());
  EXPECT_EQ(client.get_charging_stations().size(), 2U);
  ASSERT_TRUE(server.start());
  service.add({3, "three", "Acme", "X7"});
  EXPECT_EQ(client.get_charging_stations().size(), 3U);
}

TEST_F(OcppClient, AnswersWithTheListOfItsStartWhenTheServiceFailsLater) {
  ASSERT_TRUE(server.start());
  req_resp_ocpp_1_6_service client;
  ASSERT_TRUE(client.init());
  service.is_failing = true;
  EXPECT_EQ(client.get_charging_stations(), (std::vector<charging_station>{{1, "one", "Acme", "X7"}}));
  EXPECT_EQ(client.get_charging_station(1), std::nullopt);
  unsigned int request = 77;
  auto const answer = client.request_diagnostics_upload(1, "http://a/upload/t/", request);
  EXPECT_TRUE(answer != 0 && answer != 1 && answer != 2) << answer;
  EXPECT_EQ(request, 77U);
}

TEST_F(OcppClient, UpdateThatNobodyAnswersHasAResultOfItsOwnAndNoNumber) {
  ASSERT_TRUE(server.start());
  req_resp_ocpp_1_6_service client;
  ASSERT_TRUE(client.init());
  service.is_failing = true;
  unsigned int request = 77;
  EXPECT_EQ(client.request_firmware_update(1, "/store/1_x7.bin", request), -1);
  EXPECT_EQ(request, 77U);
}

TEST_F(OcppClient, DoesNotStartWhenTheListCannotBeRead) {
  service.is_failing = true;
  ASSERT_TRUE(server.start());
  req_resp_ocpp_1_6_service client;
  EXPECT_FALSE(client.init());
  EXPECT_TRUE(log.holds(spdlog::level::err, "ocpp_1_6_service does not give the list of stations"));
}

TEST_F(OcppClient, TakesASiteWithoutStationsAtItsWord) {
  fake_ocpp_1_6_service empty;
  req_resp_ocpp_1_6_service_handler other(empty);
  ASSERT_TRUE(other.start());
  req_resp_ocpp_1_6_service client;
  EXPECT_TRUE(client.init());
  EXPECT_TRUE(client.get_charging_stations().empty());
}

TEST_F(OcppClient, MayBeCalledFromManyThreads) {
  ASSERT_TRUE(server.start());
  req_resp_ocpp_1_6_service client;
  ASSERT_TRUE(client.init());
  std::vector<std::future<std::size_t>> answers;
  for (int thread = 0; thread < 8; ++thread) {
    answers.push_back(std::async(std::launch::async, [&] {
      std::size_t stations = 0;
      for (int turn = 0; turn < 10; ++turn) {
        stations += client.get_charging_stations().size();
      }
      return stations;
    }));
  }
  for (auto& answer : answers) {
    EXPECT_EQ(answer.get(), 10U);
  }
}

}  // namespace
