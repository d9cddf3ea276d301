#include "tavi/network/req_resp_network_service.h"

#include "mura_common/ipc_typed.h"
#include "record_fields.h"
#include "service_names.h"

namespace tavi::network {

struct req_resp_network_service::members {
  std::chrono::milliseconds const patience;
  mura_common::request_client client{network_service_name};
};

req_resp_network_service::req_resp_network_service(std::chrono::milliseconds patience)
    : own(new members{patience}) {
}

req_resp_network_service::~req_resp_network_service() = default;

bool req_resp_network_service::init() {
  return own->client.wait_for_service(own->patience);
}

std::optional<network_config> req_resp_network_service::get_network_config() {
  return mura_common::call(own->client, "get_network_config",
                           &i_req_resp_network_service_handler::on_get_network_config)
      .value_or(std::nullopt);
}

req_resp_network_service_handler::req_resp_network_service_handler(
    i_req_resp_network_service_handler& handler)
    : request_server(network_service_name) {
  mura_common::bind(*this, "get_network_config", handler,
                    &i_req_resp_network_service_handler::on_get_network_config);
}

}  // namespace tavi::network
