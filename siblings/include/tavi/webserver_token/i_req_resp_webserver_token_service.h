#pragma once

#include <optional>
#include <string>

#include "tavi/export.h"

namespace tavi::webserver_token {

/// The web-server token service: makes one-time tokens with which a file can be uploaded to the controller.
class TAVI_SIBLINGS_EXPORT i_req_resp_webserver_token_service {
 public:
  virtual ~i_req_resp_webserver_token_service() = default;

  /// Connects to the service. @return whether it answered within the time allowed for a start
  [[nodiscard]] virtual bool init() = 0;

  /// Makes a token. May be called from any thread.
  /// @param owner  the name of whoever will take the uploaded file
  /// @return the token; empty when the service refused or did not answer
  [[nodiscard]] virtual std::optional<std::string> get_upload_token(std::string const& owner) = 0;

  /// Where a file is to be uploaded with a token: "http://" + address + "/upload/" + token.
  /// @param address  host or host:port under which uploaders reach the web server
  /// @param token    as `get_upload_token` gave it
  [[nodiscard]] virtual std::string build_upload_location(std::string const& address,
                                                          std::string const& token) = 0;
};

}  // namespace tavi::webserver_token
