#include <iostream>

#include "stations_maintenance/req_resp_stations_maintenance_service.h"
#include "stations_maintenance/stations_maintenance_service.h"
#include "tavi/logger/req_resp_logger_service.h"
#include "tavi/network/req_resp_network_service.h"
#include "tavi/ocpp1_6/req_resp_ocpp_1_6_service.h"
#include "tavi/webserver_token/req_resp_webserver_token_service.h"

int main() {
  tavi::logger::req_resp_logger_service logger;
  tavi::ocpp1_6::req_resp_ocpp_1_6_service ocpp;
  tavi::webserver_token::req_resp_webserver_token_service tokens;
  tavi::network::req_resp_network_service network;
  tavi::stations_maintenance::stations_maintenance_service service(logger, ocpp, tokens, network);
  std::cout << service.name() << '\n';

  tavi::stations_maintenance::req_resp_stations_maintenance_service client;
  auto const firmwares = client.get_firmwares();
  std::cout << (firmwares.value ? "answered" : "not answered") << '\n';
  return firmwares.value ? 0 : 3;
}
