#include <algorithm>
#include <exception>
#include <filesystem>
#include <mutex>
#include <utility>
#include <variant>

#include <nlohmann/json.hpp>
#include <spdlog/spdlog.h>

#include "ipc/ipc_context.h"
#include "ipc/ipc_endpoint.h"
#include "ipc/ipc_message.h"
#include "ipc/ipc_order.h"
#include "mura_common/ipc.h"
#include "mura_common/ipc_typed.h"

namespace mura_common {

namespace {

using clock = std::chrono::steady_clock;

constexpr char const* const client_class = "request_client";
/// How long one attempt of `wait_for_service` lasts: a request that went down with a dying server is
/// repeated.
constexpr std::chrono::milliseconds attempt_time(1000);

/// What an exchange of frames came to.
enum class exchange_end { answered, several_frames, no_answer, unusable };

struct exchange_outcome {
  exchange_end end = exchange_end::no_answer;
  std::string frame;
};

}  // namespace

struct request_client::members {
  members(std::string name, std::chrono::milliseconds limit)
      : service(std::move(name)), time_out(std::max(limit, std::chrono::milliseconds(1))) {}

  exchange_outcome exchange(std::string const& request, clock::time_point deadline) {
    try {
      // A socket of its own for each exchange: one that was connected to a server that has just ended would
      // lose the request, and the time-out would be over before the caller learns of it.
      auto socket = connected_socket();
      if (!socket) {
        return {exchange_end::unusable, {}};
      }
      ipc::note_sending();
      static_cast<void>(socket.send(zmq::buffer(request), zmq::send_flags::dontwait));
      std::optional<ipc::received_message> reply;
      while (!reply) {
        if (ipc::wait_for_message(socket, closing, deadline) != ipc::wake_reason::message) {
          // The socket is closed here, and with it goes a reply that comes too late.
          return {exchange_end::no_answer, {}};
        }
        reply = ipc::take_message(socket);
      }
      if (!reply->is_single) {
        return {exchange_end::several_frames, {}};
      }
      return {exchange_end::answered, reply->frame.to_string()};
    } catch (zmq::error_t const& error) {
      spdlog::error("[{}] {}: cannot exchange messages: {}", client_class, service, error.what());
      return {exchange_end::unusable, {}};
    }
  }

  call_failure understand(std::string const& operation, std::string const& frame,
                          nlohmann::json& reply) const {
    auto decoded = ipc::decode_reply(frame);
    if (auto const* refusal = std::get_if<ipc::refusal>(&decoded)) {
      spdlog::warn("[{}] {} refused {}: {} {}", client_class, service, operation,
                   ipc::printable(refusal->code), ipc::printable(refusal->text));
      return call_failure::refused;
    }
    if (auto const* problem = std::get_if<ipc::unreadable>(&decoded)) {
      spdlog::warn("[{}] {} answered {} with what is no reply: {}", client_class, service, operation,
                   problem->reason);
      return call_failure::malformed;
    }
    reply = std::move(std::get<nlohmann::json>(decoded));
    return call_failure::none;
  }

  /// @return an empty one, with a line in the log, when none can be made
  [[nodiscard]] zmq::socket_t connected_socket() {
    auto const file = ipc::request_socket_of(service);
    if (!ipc::is_usable_path(file, client_class)) {
      return {};
    }
    zmq::socket_t socket(*context_of_calls(), zmq::socket_type::req);
    socket.set(zmq::sockopt::linger, 0);
    socket.set(zmq::sockopt::reconnect_ivl, ipc::reconnect_milliseconds);
    socket.set(zmq::sockopt::maxmsgsize, std::int64_t{ipc::message_limit});
    socket.connect(ipc::address_of(file));
    return socket;
  }

  /// Kept from the first call on, so that its threads are not started for each one.
  std::shared_ptr<zmq::context_t> context_of_calls() {
    std::lock_guard const lock(guard);
    if (!context) {
      context = ipc::shared_context();
    }
    return context;
  }

  std::string const service;
  std::chrono::milliseconds const time_out;
  ipc::stop_signal closing;
  std::mutex guard;
  std::shared_ptr<zmq::context_t> context;
};

request_client::request_client(std::string service, std::chrono::milliseconds time_out)
    : own(std::make_unique<members>(std::move(service), time_out)) {
}

request_client::~request_client() = default;

call_failure request_client::call(std::string const& operation, nlohmann::json const& arguments,
                                  nlohmann::json& reply) {
  auto const request = ipc::encode_request(operation, arguments);
  if (request.size() > ipc_request_limit) {
    spdlog::warn("[{}] {}: a request to {} may have {} bytes, this one has {}", client_class, operation,
                 own->service, ipc_request_limit, request.size());
    return call_failure::refused;
  }
  auto const outcome = own->exchange(request, clock::now() + own->time_out);
  switch (outcome.end) {
    case exchange_end::answered:
      return own->understand(operation, outcome.frame, reply);
    case exchange_end::several_frames:
      spdlog::warn("[{}] {} answered {} with several frames", client_class, own->service, operation);
      return call_failure::malformed;
    case exchange_end::no_answer:
      spdlog::warn("[{}] {} gave no answer to {} within {} ms", client_class, own->service, operation,
                   own->time_out.count());
      return call_failure::no_answer;
    case exchange_end::unusable:
      break;
  }
  return call_failure::no_answer;
}

bool request_client::wait_for_service(std::chrono::milliseconds patience) {
  auto const deadline = clock::now() + patience;
  auto const request = ipc::encode_request("ping", nlohmann::json::array());
  exchange_end end = exchange_end::no_answer;
  do {
    end = own->exchange(request, std::min(deadline, clock::now() + attempt_time)).end;
  } while (end == exchange_end::no_answer && clock::now() < deadline && !own->closing.is_raised());
  if (end == exchange_end::no_answer) {
    spdlog::error("[{}] {} did not answer within {} ms", client_class, own->service, patience.count());
  }
  return end == exchange_end::answered || end == exchange_end::several_frames;
}

void request_client::close() {
  own->closing.raise();
}

void ipc_detail::report_malformed_reply(std::string const& operation, char const* problem) {
  spdlog::warn("[{}] the reply to {} is malformed: {}", client_class, operation, problem);
}

}  // namespace mura_common
