#include "ipc/ipc_context.h"

#include <sys/eventfd.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdint>
#include <cstring>
#include <mutex>
#include <string>
#include <system_error>

#include "ipc/ipc_order.h"

namespace mura_common::ipc {

namespace {

/// How long a closed socket may take to hand over what it has sent already.
constexpr int parting_milliseconds = 200;

long remaining_milliseconds(std::chrono::steady_clock::time_point deadline) {
  if (deadline == std::chrono::steady_clock::time_point::max()) {
    return -1;
  }
  auto const left =
      std::chrono::ceil<std::chrono::milliseconds>(deadline - std::chrono::steady_clock::now()).count();
  return static_cast<long>(std::max<std::chrono::milliseconds::rep>(left, 0));
}

}  // namespace

std::shared_ptr<zmq::context_t> shared_context() {
  static std::mutex guard;
  static std::weak_ptr<zmq::context_t> known;
  static pid_t owner = 0;
  std::lock_guard const lock(guard);
  auto context = owner == getpid() ? known.lock() : nullptr;
  if (!context) {
    context = std::make_shared<zmq::context_t>();
    known = context;
    owner = getpid();
  }
  return context;
}

stop_signal::stop_signal() : event(eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK)) {
  if (event < 0) {
    throw std::system_error(errno, std::generic_category(), "eventfd");
  }
}

stop_signal::~stop_signal() {
  close(event);
}

void stop_signal::raise() {
  raised = true;
  static_cast<void>(eventfd_write(event, 1));
}

void stop_signal::lower() {
  raised = false;
  eventfd_t ignored = 0;
  static_cast<void>(eventfd_read(event, &ignored));
}

connection_watch::connection_watch(zmq::context_t& context, zmq::socket_t& watched)
    : socket(watched), events(context, zmq::socket_type::pair) {
  static std::atomic<std::uint64_t> made = 0;
  auto const address = "inproc://connection_watch_" + std::to_string(++made);
  constexpr int watched_events = ZMQ_EVENT_CONNECTED | ZMQ_EVENT_HANDSHAKE_SUCCEEDED | ZMQ_EVENT_DISCONNECTED;
  if (zmq_socket_monitor(socket.handle(), address.c_str(), watched_events) != 0) {
    throw zmq::error_t();
  }
  events.set(zmq::sockopt::linger, 0);
  events.connect(address);
}

connection_watch::~connection_watch() {
  zmq_socket_monitor(socket.handle(), nullptr, 0);
}

void connection_watch::look() {
  while (auto const message = take_message(events)) {
    std::uint16_t event = 0;
    std::memcpy(&event, message->frame.data(), std::min(sizeof event, message->frame.size()));
    connected = event != ZMQ_EVENT_DISCONNECTED;
    lost = lost || (greeted && !connected);
    greeted = event == ZMQ_EVENT_HANDSHAKE_SUCCEEDED;
  }
}

wake_reason wait_for_message(zmq::socket_t& socket, stop_signal const& stop,
                             std::chrono::steady_clock::time_point deadline, connection_watch* watch) {
  std::array<zmq_pollitem_t, 3> items{{{socket.handle(), 0, ZMQ_POLLIN, 0},
                                       {nullptr, stop.descriptor(), ZMQ_POLLIN, 0},
                                       {watch == nullptr ? nullptr : watch->handle(), 0, ZMQ_POLLIN, 0}}};
  int const count = watch == nullptr ? 2 : 3;
  while (true) {
    auto const left = remaining_milliseconds(deadline);
    int const ready = zmq_poll(items.data(), count, left);
    if (ready < 0 && errno != EINTR) {
      throw zmq::error_t();
    }
    if (ready > 0 && items[1].revents != 0) {
      return wake_reason::stopped;
    }
    if (ready > 0 && items[0].revents != 0) {
      return wake_reason::message;
    }
    if (ready > 0) {
      watch->look();
      return wake_reason::connection;
    }
    if (left == 0) {
      return wake_reason::time_out;
    }
  }
}

std::optional<received_message> take_message(zmq::socket_t& socket) {
  received_message message;
  if (!socket.recv(message.frame, zmq::recv_flags::dontwait)) {
    return std::nullopt;
  }
  note_receiving();
  bool has_more = message.frame.more();
  message.is_single = !has_more;
  while (has_more) {
    zmq::message_t rest;
    has_more = socket.recv(rest, zmq::recv_flags::dontwait) && rest.more();
  }
  return message;
}

zmq::socket_t listening_socket(zmq::context_t& context, zmq::socket_type type, endpoint& place,
                               std::filesystem::path const& file, int largest_message) {
  zmq::socket_t socket(context, type);
  socket.set(zmq::sockopt::linger, parting_milliseconds);
  socket.set(zmq::sockopt::sndhwm, queue_limit);
  socket.set(zmq::sockopt::maxmsgsize, std::int64_t{largest_message});
  // Given a descriptor, ZeroMQ leaves the socket file alone. Otherwise it would remove the file at some later
  // time on a thread of its own, by then perhaps the file of a successor.
  int const descriptor = place.listener();
  if (zmq_setsockopt(socket.handle(), ZMQ_USE_FD, &descriptor, sizeof descriptor) != 0) {
    throw zmq::error_t();
  }
  socket.bind(address_of(file));
  place.hand_over();
  return socket;
}

}  // namespace mura_common::ipc
