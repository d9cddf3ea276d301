#pragma once

#include <chrono>
#include <memory>
#include <optional>

#include "mura_common/ipc.h"
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
