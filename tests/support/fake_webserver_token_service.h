#pragma once

#include <mutex>
#include <optional>
#include <string>

#include "tavi/webserver_token/req_resp_webserver_token_service.h"

/// A token service that counts its tokens up; nobody without a name gets one.
class fake_webserver_token_service
    : public tavi::webserver_token::i_req_resp_webserver_token_service_handler {
 public:
  std::optional<std::string> on_get_upload_token(std::string const& owner) override {
    if (owner.empty()) {
      return std::nullopt;
    }
    std::lock_guard const lock(guard);
    return owner + "-" + std::to_string(++last_token);
  }

 private:
  std::mutex guard;
  unsigned int last_token = 0;
};
