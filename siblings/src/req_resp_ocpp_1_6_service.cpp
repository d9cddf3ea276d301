#include "tavi/ocpp1_6/req_resp_ocpp_1_6_service.h"

#include <algorithm>
#include <chrono>
#include <mutex>
#include <utility>

#include <spdlog/spdlog.h>

#include "mura_common/ipc_typed.h"

namespace tavi::ocpp1_6 {

namespace {

using handler = i_req_resp_ocpp_1_6_service_handler;
using stations = std::vector<tavi::stations::charging_station>;

constexpr char const* const service_name = mura_common::ipc_interface<handler>::service;
/// A station must answer within it, and the service must have time left to say that it did not. The service
/// answers one request after the other, so a query may have to wait as long for the request before it.
constexpr std::chrono::seconds station_time_out(20);
constexpr int no_answer = -1;

std::optional<stations> read_list(mura_common::request_client& client) {
  return mura_common::call<&handler::on_get_charging_stations>(client);
}

}  // namespace

struct req_resp_ocpp_1_6_service::members {
  explicit members(std::chrono::milliseconds limit) : patience(limit) {}

  void keep(stations const& list) {
    std::lock_guard const lock(guard);
    last_read = list;
  }

  std::chrono::milliseconds const patience;
  mura_common::request_client client{service_name, station_time_out};
  std::mutex guard;
  stations last_read;
};

req_resp_ocpp_1_6_service::req_resp_ocpp_1_6_service(std::chrono::milliseconds patience)
    : own(std::make_unique<members>(patience)) {
}

req_resp_ocpp_1_6_service::~req_resp_ocpp_1_6_service() = default;

bool req_resp_ocpp_1_6_service::init() {
  auto const deadline = std::chrono::steady_clock::now() + own->patience;
  if (!own->client.wait_for_service(own->patience)) {
    return false;
  }
  auto const left = std::chrono::ceil<std::chrono::milliseconds>(deadline - std::chrono::steady_clock::now());
  mura_common::request_client starting(service_name, left);
  auto const list = read_list(starting);
  if (!list) {
    spdlog::error("[req_resp_ocpp_1_6_service] {} does not give the list of stations", service_name);
    return false;
  }
  own->keep(*list);
  return true;
}

std::optional<tavi::stations::charging_station> req_resp_ocpp_1_6_service::get_charging_station(
    unsigned int station_id) {
  return mura_common::call<&handler::on_get_charging_station>(own->client, station_id).value_or(std::nullopt);
}

std::vector<tavi::stations::charging_station> req_resp_ocpp_1_6_service::get_charging_stations() {
  if (auto list = read_list(own->client)) {
    own->keep(*list);
    return std::move(*list);
  }
  std::lock_guard const lock(own->guard);
  return own->last_read;
}

int req_resp_ocpp_1_6_service::request_diagnostics_upload(unsigned int station_id,
                                                          std::string const& location,
                                                          unsigned int& request) {
  return mura_common::call<&handler::on_request_diagnostics_upload>(own->client, station_id, location,
                                                                    request)
      .value_or(no_answer);
}

int req_resp_ocpp_1_6_service::request_firmware_update(unsigned int station_id, std::string const& path,
                                                       unsigned int& request) {
  return mura_common::call<&handler::on_request_firmware_update>(own->client, station_id, path, request)
      .value_or(no_answer);
}

req_resp_ocpp_1_6_service_handler::req_resp_ocpp_1_6_service_handler(
    i_req_resp_ocpp_1_6_service_handler& target)
    : request_server(service_name) {
  mura_common::bind_operations<handler>(*this, target);
}

}  // namespace tavi::ocpp1_6
