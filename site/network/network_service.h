#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "tavi/network/req_resp_network_service.h"

namespace tavi::site::network {

/// The address under which stations reach the site.
/// @param advertised  what the operator says: host, host:port, or empty; an IPv6 host stands in brackets
/// @param listening   numeric address that the site listens on; with nothing advertised it is taken, unless
///                    it means every address of the machine: then `host_name` is
/// @param host_name   name of the machine
/// @param port        that the site listens on; taken when nothing advertised names one
/// @return host:port; empty when `advertised` has another form
[[nodiscard]] std::optional<std::string> make_advertised_address(std::string const& advertised,
                                                                 std::string const& listening,
                                                                 std::string const& host_name,
                                                                 std::uint16_t port);

/// The network service of a site: answers with an address that does not change while it runs.
class network_service : public tavi::network::i_req_resp_network_service_handler {
 public:
  /// Only stores its argument. @param address  see `make_advertised_address`
  explicit network_service(std::string address);

  /// May be called from any thread.
  std::optional<tavi::network::network_config> on_get_network_config() override;

 private:
  tavi::network::network_config const config;
};

}  // namespace tavi::site::network
