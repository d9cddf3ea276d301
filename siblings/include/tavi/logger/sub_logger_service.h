#pragma once

#include <string>
#include <tuple>

#include "mura_common/ipc.h"
#include "mura_common/ipc_interface.h"
#include "tavi/export.h"

namespace tavi::logger {

/// Receives the events of the logger service.
class TAVI_SIBLINGS_EXPORT i_sub_logger_service_handler {
 public:
  virtual ~i_sub_logger_service_handler() = default;

  /// An entry was written to the event log.
  /// @param category  the number of the writing service, 13 for stations maintenance
  /// @param subtype   the kind of the entry, see `log_subtype`
  /// @param text      what operators read
  virtual void on_functional_log(unsigned int const& category, unsigned int const& subtype,
                                 std::string const& text) = 0;
};

/// Subscription to the events of the logger service.
///
/// Receives on a thread of its own, which begins with the first subscription; events are handed over one at a
/// time with all other requests and events of the subscriber.
class TAVI_SIBLINGS_EXPORT sub_logger_service : public mura_common::subscription {
 public:
  /// Only stores its arguments.
  /// @param subscriber  name of the subscribing service, whose delivery lane the events take
  /// @param handler     receives the events; must outlive the subscription
  sub_logger_service(std::string subscriber, i_sub_logger_service_handler& handler);

  /// Begins to receive functional-log events. @return false, with a line in the log, when it cannot
  [[nodiscard]] bool subscribe_to_functional_log();

 private:
  i_sub_logger_service_handler& handler;
};

/// Publisher of the events, held by the logger service itself. May be called from any thread.
class TAVI_SIBLINGS_EXPORT pub_logger_service : public mura_common::publisher {
 public:
  /// Opens nothing: `start` does.
  pub_logger_service();

  /// See `i_sub_logger_service_handler::on_functional_log`. @return whether the event left; subscribers may
  /// still miss it
  bool publish_functional_log(unsigned int category, unsigned int subtype, std::string const& text);
};

}  // namespace tavi::logger

/// The names by which the events travel, for both sides.
template <>
struct mura_common::ipc_interface<tavi::logger::i_sub_logger_service_handler> {
  using handler = tavi::logger::i_sub_logger_service_handler;
  static constexpr char const* service = "logger_service";
  static constexpr std::tuple operations{ipc_operation<&handler::on_functional_log>{"functional_log"}};
};
