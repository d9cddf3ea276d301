#include "tavi/webserver_token/req_resp_webserver_token_service.h"

#include "mura_common/ipc_typed.h"

namespace tavi::webserver_token {

namespace {

using handled = i_req_resp_webserver_token_service_handler;

constexpr char const* const service_name = mura_common::ipc_interface<handled>::service;

}  // namespace

struct req_resp_webserver_token_service::members {
  std::chrono::milliseconds const patience;
  mura_common::request_client client{service_name};
};

req_resp_webserver_token_service::req_resp_webserver_token_service(std::chrono::milliseconds patience)
    : own(new members{patience}) {
}

req_resp_webserver_token_service::~req_resp_webserver_token_service() = default;

bool req_resp_webserver_token_service::init() {
  return own->client.wait_for_service(own->patience);
}

std::optional<std::string> req_resp_webserver_token_service::get_upload_token(std::string const& owner) {
  return mura_common::call<&handled::on_get_upload_token>(own->client, owner).value_or(std::nullopt);
}

std::string req_resp_webserver_token_service::build_upload_location(std::string const& address,
                                                                    std::string const& token) {
  return "http://" + address + "/upload/" + token;
}

req_resp_webserver_token_service_handler::req_resp_webserver_token_service_handler(
    i_req_resp_webserver_token_service_handler& handler)
    : request_server(service_name) {
  mura_common::bind_operations<handled>(*this, handler);
}

}  // namespace tavi::webserver_token
