#pragma once

#include <string>
#include <tuple>

#include "mura_common/ipc.h"
#include "mura_common/ipc_interface.h"
#include "tavi/export.h"

namespace tavi::webserver_token {

/// Receives the events of the web-server token service.
class TAVI_SIBLINGS_EXPORT i_sub_webserver_token_service_handler {
 public:
  virtual ~i_sub_webserver_token_service_handler() = default;

  /// A file was uploaded completely. The same upload is announced again until somebody took the file away.
  /// @param token      that the uploader presented
  /// @param file_name  the name given by the uploader, reduced to its last component; may be empty
  /// @param file_path  where the web server stored the file
  virtual void on_file_uploaded(std::string const& token, std::string const& file_name,
                                std::string const& file_path) = 0;
};

/// Subscription to the events of the web-server token service.
///
/// Receives on a thread of its own, which begins with the first subscription; events are handed over one at a
/// time with all other requests and events of the subscriber.
class TAVI_SIBLINGS_EXPORT sub_webserver_token_service : public mura_common::subscription {
 public:
  /// Only stores its arguments.
  /// @param subscriber  name of the subscribing service, whose delivery lane the events take
  /// @param handler     receives the events; must outlive the subscription
  sub_webserver_token_service(std::string subscriber, i_sub_webserver_token_service_handler& handler);

  /// Begins to receive file-uploaded events. @return false, with a line in the log, when it cannot
  [[nodiscard]] bool subscribe_to_file_uploaded();

 private:
  i_sub_webserver_token_service_handler& handler;
};

/// Publisher of the events, held by the web-server token service itself. May be called from any thread.
class TAVI_SIBLINGS_EXPORT pub_webserver_token_service : public mura_common::publisher {
 public:
  /// Opens nothing: `start` does.
  pub_webserver_token_service();

  /// Announces an uploaded file to every subscriber. @return whether the event left; subscribers may still
  /// miss it
  bool publish_file_uploaded(std::string const& token, std::string const& file_name,
                             std::string const& file_path);
};

}  // namespace tavi::webserver_token

/// The names by which the events travel, for both sides.
template <>
struct mura_common::ipc_interface<tavi::webserver_token::i_sub_webserver_token_service_handler> {
  using handler = tavi::webserver_token::i_sub_webserver_token_service_handler;
  static constexpr char const* service = "webserver_token_service";
  static constexpr std::tuple operations{ipc_operation<&handler::on_file_uploaded>{"file_uploaded"}};
};
