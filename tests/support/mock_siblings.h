#pragma once

#include <optional>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <spdlog/spdlog.h>

#include "tavi/logger/i_logger.h"
#include "tavi/network/i_req_resp_network_service.h"
#include "tavi/ocpp1_6/i_req_resp_ocpp_1_6_service.h"
#include "tavi/webserver_token/i_req_resp_webserver_token_service.h"

class mock_logger : public tavi::logger::i_logger {
 public:
  MOCK_METHOD(bool, init, (int options), (override));
  MOCK_METHOD(bool, send_functional_log,
              (unsigned int category, tavi::logger::log_subtype subtype, std::string const& text),
              (override));
};

/// Has what operators are told stand among the lines of the log, as an action of the mocked event log.
inline bool note_in_log(unsigned int /*category*/, tavi::logger::log_subtype /*subtype*/,
                        std::string const& text) {
  spdlog::trace("told: {}", text);
  return true;
}

class mock_webserver_tokens : public tavi::webserver_token::i_req_resp_webserver_token_service {
 public:
  MOCK_METHOD(bool, init, (), (override));
  MOCK_METHOD(std::optional<std::string>, get_upload_token, (std::string const& owner), (override));
  MOCK_METHOD(std::string, build_upload_location, (std::string const& address, std::string const& token),
              (override));
};

class mock_ocpp : public tavi::ocpp1_6::i_req_resp_ocpp_1_6_service {
 public:
  MOCK_METHOD(bool, init, (), (override));
  MOCK_METHOD(std::optional<tavi::stations::charging_station>, get_charging_station,
              (unsigned int station_id), (override));
  MOCK_METHOD(std::vector<tavi::stations::charging_station>, get_charging_stations, (), (override));
  MOCK_METHOD(int, request_diagnostics_upload,
              (unsigned int station_id, std::string const& location, unsigned int& request), (override));
  MOCK_METHOD(int, request_firmware_update,
              (unsigned int station_id, std::string const& path, unsigned int& request), (override));
};

class mock_network : public tavi::network::i_req_resp_network_service {
 public:
  MOCK_METHOD(bool, init, (), (override));
  MOCK_METHOD(std::optional<tavi::network::network_config>, get_network_config, (), (override));
};
