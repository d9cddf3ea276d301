#pragma once

#include <chrono>
#include <memory>
#include <string>
#include <tuple>

#include "mura_common/ipc.h"
#include "mura_common/ipc_interface.h"
#include "tavi/export.h"
#include "tavi/logger/i_logger.h"

namespace tavi::logger {

/// The `i_logger` that sends its entries to the logger service over IPC.
///
/// Entries wait in a queue of 10,000 while the service is away and are sent, in order, once it is back. The
/// destructor gives what is queued half a second to leave.
class TAVI_SIBLINGS_EXPORT req_resp_logger_service : public i_logger {
 public:
  /// Connects to nothing yet. @param patience  how long `init` waits for the service at most
  explicit req_resp_logger_service(std::chrono::milliseconds patience = std::chrono::seconds(10));
  ~req_resp_logger_service() override;

  [[nodiscard]] bool init(int options) override;
  bool send_functional_log(unsigned int category, log_subtype subtype, std::string const& text) override;

 private:
  struct members;
  std::unique_ptr<members> own;
};

/// What the logger service itself implements.
class TAVI_SIBLINGS_EXPORT i_req_resp_logger_service_handler {
 public:
  virtual ~i_req_resp_logger_service_handler() = default;

  /// Writes one entry to the event log. @return whether it was written
  virtual bool on_functional_log(unsigned int const& category, unsigned int const& subtype,
                                 std::string const& text) = 0;
};

/// IPC server of the logger service.
class TAVI_SIBLINGS_EXPORT req_resp_logger_service_handler : public mura_common::request_server {
 public:
  /// @param handler  answers the requests, on the server's thread; must outlive the server
  explicit req_resp_logger_service_handler(i_req_resp_logger_service_handler& handler);
};

}  // namespace tavi::logger

/// The names by which the operations travel, for both sides.
template <>
struct mura_common::ipc_interface<tavi::logger::i_req_resp_logger_service_handler> {
  using handler = tavi::logger::i_req_resp_logger_service_handler;
  static constexpr char const* service = "logger_service";
  static constexpr std::tuple operations{ipc_operation<&handler::on_functional_log>{"functional_log"}};
};
