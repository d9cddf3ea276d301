#pragma once

#include <optional>
#include <string>
#include <tuple>

#include "mura_common/ipc_interface.h"
#include "tavi/export.h"

namespace tavi::network {

/// The controller's network configuration.
struct network_config {
  std::string address;  ///< host or host:port under which stations reach the controller's web server

  bool operator==(network_config const&) const = default;
};

/// The network service: knows the controller's network configuration.
class TAVI_SIBLINGS_EXPORT i_req_resp_network_service {
 public:
  virtual ~i_req_resp_network_service() = default;

  /// Connects to the service. @return whether it answered within the time allowed for a start
  [[nodiscard]] virtual bool init() = 0;

  /// The configuration. May be called from any thread. @return empty when there is none or no answer came
  [[nodiscard]] virtual std::optional<network_config> get_network_config() = 0;
};

}  // namespace tavi::network

/// How it travels.
template <>
struct mura_common::record_fields<tavi::network::network_config> {
  using record = tavi::network::network_config;
  static constexpr std::tuple list{record_field{"address", &record::address}};
};
