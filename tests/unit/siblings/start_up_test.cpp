#include <chrono>

#include <gmock/gmock.h>

#include "ipc_test.h"
#include "tavi/logger/req_resp_logger_service.h"
#include "tavi/network/req_resp_network_service.h"
#include "tavi/ocpp1_6/req_resp_ocpp_1_6_service.h"
#include "tavi/webserver_token/req_resp_webserver_token_service.h"

namespace {

constexpr std::chrono::milliseconds little(60);

/// What a start waits for that its sibling does not answer.
class AbsentSibling : public ipc_test {
 protected:
  void expect_one_line_naming(char const* service) {
    ASSERT_EQ(log.lines().size(), 1U);
    EXPECT_TRUE(log.holds(spdlog::level::err, service));
  }
};

TEST_F(AbsentSibling, FailsTheStartOfTheLoggerClient) {
  tavi::logger::req_resp_logger_service client(little);
  EXPECT_FALSE(client.init(0));
  expect_one_line_naming("logger_service");
}

TEST_F(AbsentSibling, FailsTheStartOfTheNetworkClient) {
  tavi::network::req_resp_network_service client(little);
  EXPECT_FALSE(client.init());
  expect_one_line_naming("network_service");
}

TEST_F(AbsentSibling, FailsTheStartOfTheTokenClient) {
  tavi::webserver_token::req_resp_webserver_token_service client(little);
  EXPECT_FALSE(client.init());
  expect_one_line_naming("webserver_token_service");
}

TEST_F(AbsentSibling, FailsTheStartOfTheOcppClient) {
  tavi::ocpp1_6::req_resp_ocpp_1_6_service client(little);
  EXPECT_FALSE(client.init());
  expect_one_line_naming("ocpp_1_6_service");
}

TEST_F(AbsentSibling, IsNotWaitedForLongerThanAllowed) {
  auto const begun = std::chrono::steady_clock::now();
  tavi::network::req_resp_network_service client(std::chrono::milliseconds(1500));
  EXPECT_FALSE(client.init());
  auto const took = std::chrono::steady_clock::now() - begun;
  EXPECT_GE(took, std::chrono::milliseconds(1500));
  EXPECT_LT(took, generous);
}

TEST_F(AbsentSibling, LeavesTheClientsUsableWithoutAnswers) {
  tavi::logger::req_resp_logger_service logger(little);
  EXPECT_TRUE(
      logger.send_functional_log(13, tavi::logger::log_subtype::firmware_available, "kept for later"));
}

}  // namespace
