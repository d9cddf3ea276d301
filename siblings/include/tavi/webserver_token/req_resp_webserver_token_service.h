#pragma once

#include <chrono>
#include <memory>
#include <optional>
#include <string>
#include <tuple>

#include "mura_common/ipc.h"
#include "mura_common/ipc_interface.h"
#include "tavi/export.h"
#include "tavi/webserver_token/i_req_resp_webserver_token_service.h"

namespace tavi::webserver_token {

/// Client of the web-server token service over IPC.
class TAVI_SIBLINGS_EXPORT req_resp_webserver_token_service : public i_req_resp_webserver_token_service {
 public:
  /// Connects to nothing yet. @param patience  how long `init` waits for the service at most
  explicit req_resp_webserver_token_service(std::chrono::milliseconds patience = std::chrono::seconds(10));
  ~req_resp_webserver_token_service() override;

  [[nodiscard]] bool init() override;
  [[nodiscard]] std::optional<std::string> get_upload_token(std::string const& owner) override;
  [[nodiscard]] std::string build_upload_location(std::string const& address,
                                                  std::string const& token) override;

 private:
  struct members;
  std::unique_ptr<members> own;
};

/// What the web-server token service itself implements.
class TAVI_SIBLINGS_EXPORT i_req_resp_webserver_token_service_handler {
 public:
  virtual ~i_req_resp_webserver_token_service_handler() = default;

  /// Makes a token for `owner`. @return the token; empty when none can be made
  virtual std::optional<std::string> on_get_upload_token(std::string const& owner) = 0;
};

/// IPC server of the web-server token service.
class TAVI_SIBLINGS_EXPORT req_resp_webserver_token_service_handler : public mura_common::request_server {
 public:
  /// @param handler  answers the requests, on the server's thread; must outlive the server
  explicit req_resp_webserver_token_service_handler(i_req_resp_webserver_token_service_handler& handler);
};

}  // namespace tavi::webserver_token

/// The names by which the operations travel, for both sides.
template <>
struct mura_common::ipc_interface<tavi::webserver_token::i_req_resp_webserver_token_service_handler> {
  using handler = tavi::webserver_token::i_req_resp_webserver_token_service_handler;
  static constexpr char const* service = "webserver_token_service";
  static constexpr std::tuple operations{ipc_operation<&handler::on_get_upload_token>{"get_upload_token"}};
};
