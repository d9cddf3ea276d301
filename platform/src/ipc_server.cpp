#include <spdlog/spdlog.h>

#include <exception>
#include <map>
#include <mutex>
#include <nlohmann/json.hpp>
#include <optional>
#include <string_view>
#include <thread>
#include <utility>
#include <variant>

#include "ipc_context.h"
#include "ipc_endpoint.h"
#include "ipc_message.h"
#include "mura_common/delivery.h"
#include "mura_common/ipc.h"
#include "mura_common/ipc_codec.h"

namespace mura_common {

namespace {

constexpr char const* const class_name = "request_server";
/// Answered by every server, beside the service's own operations and without waiting for its turn.
constexpr std::string_view ping = "ping";
/// Above `ipc_request_limit`, so that a request which is only somewhat too large still gets its error reply.
constexpr int hard_request_limit = 16 * 1024 * 1024;

}  // namespace

struct request_server::members {
  explicit members(std::string name) : service(std::move(name)), lane(delivery_lane_of(service)) {}

  void run() {
    while (true) {
      try {
        if (ipc::wait_for_message(socket, stopping) == ipc::wake_reason::stopped) {
          return;
        }
        auto const request = ipc::take_message(socket);
        if (!request) {
          continue;
        }
        auto const reply = request->is_single
                               ? answer(request->frame.to_string_view())
                               : refuse({ipc::bad_request, "a request is one frame, this one has several"});
        static_cast<void>(socket.send(zmq::buffer(reply), zmq::send_flags::dontwait));
      } catch (zmq::error_t const& error) {
        spdlog::error("[{}] {}: cannot read or answer a request: {}", class_name, service, error.what());
      }
    }
  }

  std::string answer(std::string_view frame) {
    auto decoded = ipc::decode_request(frame);
    if (auto const* refusal = std::get_if<ipc::refusal>(&decoded)) {
      return refuse(*refusal);
    }
    auto const& request = std::get<ipc::request_message>(decoded);
    auto const found = operations.find(request.operation);
    if (found != operations.end()) {
      return carry_out(request, found->second);
    }
    if (request.operation == ping) {
      return ipc::encode_reply(nlohmann::json::object());
    }
    return refuse({ipc::unknown_operation, "there is no operation " + ipc::printable(request.operation)});
  }

  std::string carry_out(ipc::request_message const& request, operation const& handler) {
    auto const problem_in = [&](char const* what) {
      spdlog::error("[{}] {}: exception out of {}: {}", class_name, service, request.operation, what);
      return ipc::encode_refusal({ipc::failed, "the operation failed"});
    };
    try {
      nlohmann::json body;
      {
        std::lock_guard const turn(*lane);
        body = handler(request.arguments);
      }
      return ipc::encode_reply(body);
    } catch (malformed_value const& error) {
      return refuse({ipc::bad_request, request.operation + ": " + error.what()});
    } catch (std::exception const& error) {
      return problem_in(error.what());
    } catch (...) {
      return problem_in("of an unknown type");
    }
  }

  std::string refuse(ipc::refusal const& refusal) const {
    spdlog::warn("[{}] {}: refused a request with {}: {}", class_name, service, refusal.code, refusal.text);
    return ipc::encode_refusal(refusal);
  }

  std::string const service;
  std::shared_ptr<delivery_lane> const lane;
  std::map<std::string, operation, std::less<>> operations;
  ipc::stop_signal stopping;
  std::shared_ptr<zmq::context_t> context;
  std::unique_ptr<ipc::endpoint> place;
  zmq::socket_t socket;
  std::thread thread;
};

request_server::request_server(std::string service) : own(std::make_unique<members>(std::move(service))) {
}

request_server::~request_server() {
  stop();
}

void request_server::add(std::string const& name, operation handler) {
  own->operations[name] = std::move(handler);
}

bool request_server::start() {
  if (own->thread.joinable()) {
    return true;
  }
  auto const file = ipc::request_socket_of(own->service);
  own->place = ipc::endpoint::claim(file, class_name);
  if (!own->place) {
    return false;
  }
  try {
    own->context = ipc::shared_context();
    own->socket =
        ipc::listening_socket(*own->context, zmq::socket_type::rep, *own->place, file, hard_request_limit);
    own->stopping.lower();
    own->thread = std::thread([members = own.get()] { members->run(); });
    return true;
  } catch (std::exception const& error) {
    spdlog::error("[{}] cannot serve at {}: {}", class_name, file.string(), error.what());
    own->place.reset();
    own->socket.close();
    return false;
  }
}

bool request_server::stop() {
  if (own->thread.joinable()) {
    own->stopping.raise();
    own->thread.join();
    own->place.reset();
    own->socket.close();
    own->context.reset();
  }
  return true;
}

}  // namespace mura_common
