#pragma once

#include <atomic>
#include <chrono>
#include <memory>
#include <optional>

#include <zmq.hpp>

#include "ipc/ipc_endpoint.h"

namespace mura_common::ipc {

/// Largest message in bytes that any socket takes in; ZeroMQ drops the connection of whoever sends a larger
/// one.
inline constexpr int message_limit = 64 * 1024 * 1024;
/// Messages that wait at a socket in either direction before further events are lost.
inline constexpr int queue_limit = 10'000;
/// How long a socket waits before it tries again to reach a service that is not there.
inline constexpr int reconnect_milliseconds = 50;

/// ZeroMQ's context of this process. It lives while somebody uses it, so that a process ends without waiting
/// for a socket that nobody will close. A forked child gets one of its own.
[[nodiscard]] std::shared_ptr<zmq::context_t> shared_context();

/// Tells threads that wait for a socket to stop waiting; once raised it stays up until lowered.
class stop_signal {
 public:
  /// @throws std::system_error when the system has no descriptor left
  stop_signal();
  ~stop_signal();
  stop_signal(stop_signal const&) = delete;
  stop_signal& operator=(stop_signal const&) = delete;

  void raise();
  void lower();
  [[nodiscard]] bool is_raised() const { return raised; }
  [[nodiscard]] int descriptor() const { return event; }

 private:
  int event;
  std::atomic<bool> raised = false;
};

/// Why `wait_for_message` returned.
enum class wake_reason { message, stopped, connection, time_out };

/// Sees whether the service that a socket connects to is there. To be made before the socket connects, and to
/// end before the socket does.
class connection_watch {
 public:
  /// @throws zmq::error_t
  connection_watch(zmq::context_t& context, zmq::socket_t& watched);
  ~connection_watch();
  connection_watch(connection_watch const&) = delete;
  connection_watch& operator=(connection_watch const&) = delete;

  /// Takes note of what has happened since it was last called.
  void look();
  /// Whether the other side has taken the connection, as the system does for a process that hangs, too.
  [[nodiscard]] bool is_connected() const { return connected; }
  /// Whether there was somebody who spoke ZeroMQ and has gone, with what was sent to him.
  [[nodiscard]] bool is_lost() const { return lost; }
  /// Readable when something has happened.
  [[nodiscard]] void* handle() { return events.handle(); }

 private:
  zmq::socket_t& socket;
  zmq::socket_t events;
  bool connected = false;
  bool greeted = false;
  bool lost = false;
};

/// Waits for a message to read at `socket`, or for the signal, whichever comes first; the signal wins.
/// @param deadline  when to give up; the clock's maximum waits for ever
/// @param watch     null, or what ends the waiting too: it has been looked at then
[[nodiscard]] wake_reason wait_for_message(
    zmq::socket_t& socket, stop_signal const& stop,
    std::chrono::steady_clock::time_point deadline = std::chrono::steady_clock::time_point::max(),
    connection_watch* watch = nullptr);

/// A message as it was received: its first frame, and whether that was all of it.
struct received_message {
  zmq::message_t frame;
  bool is_single = true;
};

/// Takes the message that waits at `socket`, without waiting for one.
/// @return empty when there is none after all: ZeroMQ announces a stranger's bytes before it has found out
///         that they are no message, and a thread that then waited for one could wait for ever
[[nodiscard]] std::optional<received_message> take_message(zmq::socket_t& socket);

/// A socket that listens at `place`. @throws zmq::error_t
[[nodiscard]] zmq::socket_t listening_socket(zmq::context_t& context, zmq::socket_type type, endpoint& place,
                                             std::filesystem::path const& file, int largest_message);

}  // namespace mura_common::ipc
