#include <cstdint>
#include <exception>
#include <mutex>
#include <random>
#include <utility>

#include <fmt/format.h>
#include <nlohmann/json.hpp>
#include <spdlog/spdlog.h>

#include "ipc/ipc_context.h"
#include "ipc/ipc_endpoint.h"
#include "ipc/ipc_message.h"
#include "ipc/ipc_order.h"
#include "mura_common/ipc.h"

namespace mura_common {

namespace {

constexpr char const* const publisher_class = "publisher";
/// Subscribers send their topics only, and these are empty.
constexpr int subscription_limit = 4096;

std::string random_instance() {
  std::random_device device;
  return fmt::format("{:08x}{:08x}", device(), device());
}

}  // namespace

struct publisher::members {
  explicit members(std::string name) : service(std::move(name)), instance(random_instance()) {}

  std::string const service;
  std::string const instance;
  std::mutex guard;
  std::uint64_t number = 0;
  std::shared_ptr<zmq::context_t> context;
  std::unique_ptr<ipc::endpoint> place;
  zmq::socket_t socket;
};

publisher::publisher(std::string service) : own(std::make_unique<members>(std::move(service))) {
}

publisher::~publisher() = default;

bool publisher::start() {
  std::lock_guard const lock(own->guard);
  if (own->socket) {
    return true;
  }
  auto const file = ipc::event_socket_of(own->service);
  own->place = ipc::endpoint::claim(file, publisher_class);
  if (!own->place) {
    return false;
  }
  try {
    own->context = ipc::shared_context();
    own->socket =
        ipc::listening_socket(*own->context, zmq::socket_type::pub, *own->place, file, subscription_limit);
    return true;
  } catch (std::exception const& error) {
    spdlog::error("[{}] cannot publish at {}: {}", publisher_class, file.string(), error.what());
    own->place.reset();
    return false;
  }
}

bool publisher::publish(std::string const& event, nlohmann::json const& arguments) {
  std::lock_guard const lock(own->guard);
  if (!own->socket) {
    spdlog::warn("[{}] {}: {} is lost, the publisher has not been started", publisher_class, own->service,
                 event);
    return false;
  }
  auto const frame = ipc::encode_event({event, ++own->number, own->instance, arguments});
  ipc::note_sending();
  try {
    return own->socket.send(zmq::buffer(frame), zmq::send_flags::dontwait).has_value();
  } catch (zmq::error_t const& error) {
    spdlog::error("[{}] {}: cannot send {}: {}", publisher_class, own->service, event, error.what());
    return false;
  }
}

}  // namespace mura_common
