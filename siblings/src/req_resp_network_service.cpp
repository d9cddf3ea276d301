#include "tavi/network/req_resp_network_service.h"

#include "mura_common/ipc_typed.h"

namespace tavi::network {

namespace {

using handled = i_req_resp_network_service_handler;

constexpr char const* const service_name = mura_common::ipc_interface<handled>::service;

}  // namespace

struct req_resp_network_service::members {
  std::chrono::milliseconds const patience;
  mura_common::request_client client{service_name};
};

req_resp_network_service::req_resp_network_service(std::chrono::milliseconds patience)
    : own(new members{patience}) {
}

req_resp_network_service::~req_resp_network_service() = default;

bool req_resp_network_service::init() {
  return own->client.wait_for_service(own->patience);
}

std::optional<network_config> req_resp_network_service::get_network_config() {
  return mura_common::call<&handled::on_get_network_config>(own->client).value_or(std::nullopt);
}

req_resp_network_service_handler::req_resp_network_service_handler(
    i_req_resp_network_service_handler& handler)
    : request_server(service_name) {
  mura_common::bind_operations<handled>(*this, handler);
}

}  // namespace tavi::network
