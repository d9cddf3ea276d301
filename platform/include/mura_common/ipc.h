#pragma once

#include <chrono>
#include <cstddef>
#include <filesystem>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <type_traits>
#include <variant>

#include <nlohmann/json_fwd.hpp>

#include "mura_common/export.h"

namespace mura_common {

/// Version of the message form, carried by every message. A message of another version is refused.
inline constexpr unsigned int ipc_protocol_version = 1;
/// Largest request in bytes; a larger one gets an error reply.
inline constexpr std::size_t ipc_request_limit = 1024 * 1024;

/// The folder in which the sockets of all services of the controller lie: the environment's TAVI_RUNTIME_DIR,
/// otherwise /run/tavi.
[[nodiscard]] MURA_COMMON_EXPORT std::filesystem::path runtime_directory();

/// Answers the requests to one service, one at a time, on a thread of its own.
///
/// States: stopped; running between `start` and `stop`; may be started again. Each request is handled while
/// the service's delivery lane is held. Whatever arrives, the server goes on: text that is no JSON, an
/// unknown operation, arguments of wrong types, too large a request, an exception out of an operation each
/// get an error reply and a line in the log. Operations are added before the first start; see ipc_typed.h.
/// `start` and `stop` are called by one thread at a time.
class MURA_COMMON_EXPORT request_server {
 public:
  /// Takes the arguments of a request as a JSON array and gives the reply's body, an object with "result" and
  /// "out" (the values of the out-parameters in their order). Throws `malformed_value` (ipc_codec.h) when the
  /// arguments are not what it takes, anything else when it fails.
  using operation = std::function<nlohmann::json(nlohmann::json const& arguments)>;

  /// Only stores its argument. @param service  the name under which clients find the server; names its socket
  /// and its delivery lane
  explicit request_server(std::string service);
  /// Stops a running server.
  virtual ~request_server();
  request_server(request_server const&) = delete;
  request_server& operator=(request_server const&) = delete;

  /// Adds an operation. Only while the server is stopped.
  void add(std::string const& name, operation handler);

  /// Takes the endpoint and begins to answer.
  /// @return false, with one line in the log that says why, when the endpoint is held by another server, the
  ///         runtime folder cannot be used, or its path is too long for a socket; true when it runs already
  [[nodiscard]] bool start();

  /// Ends answering, waits for a request in progress and gives the endpoint back. Must not be called while
  /// the caller holds the service's delivery lane. @return true
  bool stop();

 private:
  struct members;
  std::unique_ptr<members> own;
};

/// Why a call gave no result.
enum class call_failure {
  none,             ///< it gave one
  refused,          ///< the service answered with an error; or the request is too large and was not sent
  malformed,        ///< the service answered, but with what cannot be understood
  timed_out,        ///< the service is there, but did not answer in time: it is busy, or hangs
  connection_lost,  ///< the service was there and ended, or hung up, before it answered
  not_reached,      ///< the service was not there until the time was over, or its socket cannot be used
  closed,           ///< `request_client::close` ended the call
};

/// Whether nothing came back from the service. The request may have been carried out all the same, unless the
/// service was not reached.
[[nodiscard]] constexpr bool has_no_answer(call_failure failure) {
  return failure == call_failure::timed_out || failure == call_failure::connection_lost ||
         failure == call_failure::not_reached || failure == call_failure::closed;
}

/// How a call ended.
struct call_outcome {
  call_failure failure = call_failure::none;  ///< `none` when there is a result
  /// When the service refused: its code and text, "failed: the operation failed"; as it came, so it has to be
  /// escaped before it is shown. Empty otherwise.
  std::string reason = {};

  /// Whether the call ended this way.
  bool operator==(call_failure other) const { return failure == other; }
};

/// What a typed call came to.
template <typename Result>
struct call_result {
  /// The operation's result; absent when there was none, `failure` then says why. An operation without a
  /// result gives std::monostate. A result that may itself be absent is one: the service has answered then.
  std::optional<std::conditional_t<std::is_void_v<Result>, std::monostate, Result>> value;
  call_failure failure = call_failure::none;  ///< `none` exactly when `value` is there
  std::string reason = {};                    ///< as in `call_outcome`
};

/// Calls the operations of one service. Any number of threads may call at once.
///
/// Connects by itself, at the first call and again when the service was away; a call that gets no answer
/// leaves nothing behind that could disturb the next one.
class MURA_COMMON_EXPORT request_client {
 public:
  /// Connects to nothing yet.
  /// @param service   the name of the server
  /// @param time_out  that every call may take, above 0
  explicit request_client(std::string service, std::chrono::milliseconds time_out = std::chrono::seconds(5));
  ~request_client();
  request_client(request_client const&) = delete;
  request_client& operator=(request_client const&) = delete;

  /// Sends a request and waits for its reply; see ipc_typed.h for the typed form.
  /// @param operation  name of the operation
  /// @param arguments  JSON array
  /// @param reply      receives the reply's body, an object with "result" and the array "out"
  /// @return why there is none; `reply` is unchanged then, and a line in the log names service and operation
  [[nodiscard]] call_outcome call(std::string const& operation, nlohmann::json const& arguments,
                                  nlohmann::json& reply);

  /// Waits until the service answers anything at all.
  /// @param patience  how long at most
  /// @return whether it did; when false, one line in the log names the service
  [[nodiscard]] bool wait_for_service(std::chrono::milliseconds patience);

  /// Gives up for good: every call in flight, and every later one, ends at once as `closed`.
  void close();

 private:
  struct members;
  std::unique_ptr<members> own;
};

/// Sends the events of one service to whoever subscribed. Events carry ascending numbers.
class MURA_COMMON_EXPORT publisher {
 public:
  /// Only stores its argument. @param service  the name under which subscribers find the publisher
  explicit publisher(std::string service);
  virtual ~publisher();
  publisher(publisher const&) = delete;
  publisher& operator=(publisher const&) = delete;

  /// Takes the endpoint. @return as `request_server::start`
  [[nodiscard]] bool start();

  /// Sends an event to every subscriber. May be called from any thread.
  /// @param event      its name
  /// @param arguments  JSON array
  /// @return whether it left; a subscriber that reads too slowly or comes too late still misses it
  bool publish(std::string const& event, nlohmann::json const& arguments);

 private:
  struct members;
  std::unique_ptr<members> own;
};

/// Receives the events of one service, on a thread of its own that begins with the first subscription.
///
/// Each event is handled while the subscriber's delivery lane is held. What cannot be understood, is of an
/// event nobody subscribed to, or throws out of its handler is dropped with a line in the log; a gap in the
/// numbers is logged. The publisher may come, go and come back at any time.
class MURA_COMMON_EXPORT subscription {
 public:
  /// Takes the arguments of an event as a JSON array; throws when they cannot be understood.
  using event_handler = std::function<void(nlohmann::json const& arguments)>;

  /// Only stores its arguments.
  /// @param subscriber  name of the subscribing service: names the delivery lane
  /// @param service     name of the publisher
  subscription(std::string subscriber, std::string service);
  /// Stops.
  virtual ~subscription();
  subscription(subscription const&) = delete;
  subscription& operator=(subscription const&) = delete;

  /// Begins to hand an event over. May be called while events are being received, and again after a stop.
  /// @return false, with one line in the log, when the subscription cannot be made (path too long for a
  ///         socket, or the subscription is being stopped)
  [[nodiscard]] bool subscribe(std::string const& event, event_handler handler);

  /// Ends receiving and waits for an event being handled; none is handed over afterwards and every handler is
  /// forgotten. Must not be called while the caller holds the subscriber's delivery lane.
  void stop();

 private:
  struct members;
  std::unique_ptr<members> own;
};

}  // namespace mura_common
