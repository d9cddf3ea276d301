#pragma once

#include <mutex>
#include <optional>
#include <utility>

#include "tavi/network/req_resp_network_service.h"

/// A network service that says what it was told to say.
class fake_network_service : public tavi::network::i_req_resp_network_service_handler {
 public:
  void configure(std::optional<tavi::network::network_config> config) {
    std::lock_guard const lock(guard);
    told = std::move(config);
  }

  std::optional<tavi::network::network_config> on_get_network_config() override {
    std::lock_guard const lock(guard);
    return told;
  }

 private:
  std::mutex guard;
  std::optional<tavi::network::network_config> told;
};
