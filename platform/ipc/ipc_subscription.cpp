#include <atomic>
#include <exception>
#include <map>
#include <mutex>
#include <string_view>
#include <thread>
#include <utility>
#include <variant>

#include <nlohmann/json.hpp>
#include <spdlog/spdlog.h>

#include "ipc/ipc_context.h"
#include "ipc/ipc_endpoint.h"
#include "ipc/ipc_event_count.h"
#include "ipc/ipc_message.h"
#include "mura_common/delivery.h"
#include "mura_common/ipc.h"

namespace mura_common {

namespace {

constexpr char const* const subscription_class = "subscription";

}  // namespace

struct subscription::members {
  members(std::string subscriber, std::string publisher)
      : service(std::move(publisher)), lane(delivery_lane_of(subscriber)) {}

  bool begin() {
    auto const file = ipc::event_socket_of(service);
    if (!ipc::is_usable_path(file, subscription_class)) {
      return false;
    }
    try {
      connect(file);
      thread = std::thread([this] { run(); });
      return true;
    } catch (std::exception const& error) {
      spdlog::error("[{}] cannot subscribe at {}: {}", subscription_class, file.string(), error.what());
      socket.close();
      return false;
    }
  }

  void connect(std::filesystem::path const& file) {
    context = ipc::shared_context();
    socket = zmq::socket_t(*context, zmq::socket_type::sub);
    socket.set(zmq::sockopt::linger, 0);
    socket.set(zmq::sockopt::rcvhwm, ipc::queue_limit);
    socket.set(zmq::sockopt::reconnect_ivl, ipc::reconnect_milliseconds);
    socket.set(zmq::sockopt::maxmsgsize, std::int64_t{ipc::message_limit});
    socket.set(zmq::sockopt::subscribe, "");
    socket.connect(ipc::address_of(file));
  }

  void run() {
    while (true) {
      try {
        if (ipc::wait_for_message(socket, stopping) == ipc::wake_reason::stopped) {
          return;
        }
        auto const event = ipc::take_message(socket);
        if (!event) {
          continue;
        }
        take_in(event->is_single ? ipc::decode_event(event->frame.to_string_view())
                                 : ipc::unreadable{"an event is one frame, this one has several"});
      } catch (zmq::error_t const& error) {
        spdlog::error("[{}] {}: cannot receive an event: {}", subscription_class, service, error.what());
      }
    }
  }

  void take_in(std::variant<ipc::event_message, ipc::unreadable> const& received) {
    if (auto const* problem = std::get_if<ipc::unreadable>(&received)) {
      spdlog::warn("[{}] dropped an event of {}: {}", subscription_class, service, problem->reason);
      return;
    }
    auto const& event = std::get<ipc::event_message>(received);
    if (auto const missed = count.note(event.publisher, event.number); missed > 0) {
      spdlog::warn("[{}] missed {} events of {}", subscription_class, missed, service);
    }
    if (auto const handler = handler_of(event.event)) {
      hand_over(event, *handler);
    } else {
      spdlog::debug("[{}] dropped event {} of {}: not subscribed to", subscription_class,
                    ipc::printable(event.event), service);
    }
  }

  void hand_over(ipc::event_message const& event, event_handler const& handler) {
    std::lock_guard const turn(*lane);
    if (is_stopping) {
      return;
    }
    try {
      handler(event.arguments);
    } catch (std::exception const& error) {
      spdlog::error("[{}] dropped event {} of {}: {}", subscription_class, event.event, service,
                    error.what());
    } catch (...) {
      spdlog::error("[{}] dropped event {} of {}: exception of an unknown type", subscription_class,
                    event.event, service);
    }
  }

  std::shared_ptr<event_handler const> handler_of(std::string const& event) {
    std::lock_guard const lock(guard);
    auto const found = handlers.find(event);
    return found == handlers.end() ? nullptr : found->second;
  }

  std::string const service;
  std::shared_ptr<delivery_lane> const lane;
  std::mutex guard;
  std::map<std::string, std::shared_ptr<event_handler const>> handlers;
  ipc::stop_signal stopping;
  std::atomic<bool> is_stopping = false;
  ipc::event_count count;
  std::shared_ptr<zmq::context_t> context;
  zmq::socket_t socket;
  std::thread thread;
};

subscription::subscription(std::string subscriber, std::string service)
    : own(std::make_unique<members>(std::move(subscriber), std::move(service))) {
}

subscription::~subscription() {
  stop();
}

bool subscription::subscribe(std::string const& event, event_handler handler) {
  std::lock_guard const lock(own->guard);
  if (own->is_stopping) {
    spdlog::error("[{}] cannot subscribe to {} of {}: being stopped", subscription_class, event,
                  own->service);
    return false;
  }
  own->handlers[event] = std::make_shared<event_handler const>(std::move(handler));
  if (own->thread.joinable() || own->begin()) {
    return true;
  }
  own->handlers.erase(event);
  return false;
}

void subscription::stop() {
  {
    std::lock_guard const lock(own->guard);
    own->handlers.clear();
    if (!own->thread.joinable()) {
      return;
    }
    own->is_stopping = true;
  }
  own->stopping.raise();
  // Not under the lock: a handler that is being waited for may subscribe.
  own->thread.join();
  std::lock_guard const lock(own->guard);
  own->socket.close();
  own->context.reset();
  own->stopping.lower();
  own->is_stopping = false;
}

}  // namespace mura_common
