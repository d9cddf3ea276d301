#pragma once

#include <chrono>
#include <memory>
#include <optional>
#include <tuple>

#include "mura_common/ipc.h"
#include "mura_common/ipc_interface.h"
#include "tavi/export.h"
#include "tavi/network/i_req_resp_network_service.h"

namespace tavi::network {

/// Client of the network service over IPC.
class TAVI_SIBLINGS_EXPORT req_resp_network_service : public i_req_resp_network_service {
 public:
  /// Connects to nothing yet. @param patience  how long `init` waits for the service at most
  explicit req_resp_network_service(std::chrono::milliseconds patience = std::chrono::seconds(10));
  ~req_resp_network_service() override;

  [[nodiscard]] bool init() override;
  [[nodiscard]] std::optional<network_config> get_network_config() override;

 private:
  struct members;
  std::unique_ptr<members> own;
};

/// What the network service itself implements.
class TAVI_SIBLINGS_EXPORT i_req_resp_network_service_handler {
 public:
  virtual ~i_req_resp_network_service_handler() = default;

  /// The configuration. @return empty when there is none
  virtual std::optional<network_config> on_get_network_config() = 0;
};

/// IPC server of the network service.
class TAVI_SIBLINGS_EXPORT req_resp_network_service_handler : public mura_common::request_server {
 public:
  /// @param handler  answers the requests, on the server's thread; must outlive the server
  explicit req_resp_network_service_handler(i_req_resp_network_service_handler& handler);
};

}  // namespace tavi::network

/// The names by which the operations travel, for both sides.
template <>
struct mura_common::ipc_interface<tavi::network::i_req_resp_network_service_handler> {
  using handler = tavi::network::i_req_resp_network_service_handler;
  static constexpr char const* service = "network_service";
  static constexpr std::tuple operations{
      ipc_operation<&handler::on_get_network_config>{"get_network_config"}};
};
