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
enum class exchange_end { answered, several_frames, timed_out, lost, not_there, closed, unusable };

struct exchange_outcome {
  exchange_end end = exchange_end::not_there;
  std::string frame = {};
};

/// Whether another attempt may be answered.
bool is_worth_repeating(exchange_end end) {
  return end == exchange_end::timed_out || end == exchange_end::lost || end == exchange_end::not_there;
}

exchange_outcome outcome_of(ipc::received_message const& reply) {
  if (!reply.is_single) {
    return {exchange_end::several_frames};
  }
  return {exchange_end::answered, reply.frame.to_string()};
}

}  // namespace

struct request_client::members {
  members(std::string name, std::chrono::milliseconds limit)
      : service(std::move(name)), time_out(std::max(limit, std::chrono::milliseconds(1))) {}

  exchange_outcome exchange(std::string const& request, clock::time_point deadline) {
    auto const file = ipc::request_socket_of(service);
    if (!ipc::is_usable_path(file, client_class)) {
      return {exchange_end::unusable};
    }
    try {
      // A socket of its own for each exchange: one that was connected to a server that has just ended would
      // lose the request. It is closed here, and with it goes a reply that comes too late.
      auto const used = context_of_calls();
      auto socket = socket_of(*used);
      ipc::connection_watch watch(*used, socket);
      socket.connect(ipc::address_of(file));
      ipc::note_sending();
      static_cast<void>(socket.send(zmq::buffer(request), zmq::send_flags::dontwait));
      return await_reply(socket, watch, deadline);
    } catch (zmq::error_t const& error) {
      spdlog::error("[{}] {}: cannot exchange messages: {}", client_class, service, error.what());
      return {exchange_end::unusable};
    }
  }

  exchange_outcome await_reply(zmq::socket_t& socket, ipc::connection_watch& watch,
                               clock::time_point deadline) const {
    while (true) {
      auto const woken = ipc::wait_for_message(socket, closing, deadline, &watch);
      if (woken == ipc::wake_reason::stopped) {
        return {exchange_end::closed};
      }
      if (woken == ipc::wake_reason::time_out) {
        return {watch.is_connected() ? exchange_end::timed_out : exchange_end::not_there};
      }
      // A reply that came before the connection ended counts.
      if (auto const reply = ipc::take_message(socket)) {
        return outcome_of(*reply);
      }
      if (watch.is_lost()) {
        return {exchange_end::lost};
      }
    }
  }

  call_outcome understand(std::string const& operation, std::string const& frame,
                          nlohmann::json& reply) const {
    auto decoded = ipc::decode_reply(frame);
    if (auto const* refusal = std::get_if<ipc::refusal>(&decoded)) {
      spdlog::warn("[{}] {} refused {}: {} {}", client_class, service, operation,
                   ipc::printable(refusal->code), ipc::printable(refusal->text));
      return {call_failure::refused, refusal->code + ": " + refusal->text};
    }
    if (auto const* problem = std::get_if<ipc::unreadable>(&decoded)) {
      spdlog::warn("[{}] {} answered {} with what is no reply: {}", client_class, service, operation,
                   problem->reason);
      return {call_failure::malformed};
    }
    reply = std::move(std::get<nlohmann::json>(decoded));
    return {};
  }

  static zmq::socket_t socket_of(zmq::context_t& context) {
    zmq::socket_t socket(context, zmq::socket_type::req);
    socket.set(zmq::sockopt::linger, 0);
    socket.set(zmq::sockopt::reconnect_ivl, ipc::reconnect_milliseconds);
    socket.set(zmq::sockopt::maxmsgsize, std::int64_t{ipc::message_limit});
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

call_outcome request_client::call(std::string const& operation, nlohmann::json const& arguments,
                                  nlohmann::json& reply) {
  auto const request = ipc::encode_request(operation, arguments);
  if (request.size() > ipc_request_limit) {
    spdlog::warn("[{}] {}: a request to {} may have {} bytes, this one has {}", client_class, operation,
                 own->service, ipc_request_limit, request.size());
    return {call_failure::refused, std::string(ipc::too_large) + ": the request has " +
                                       std::to_string(request.size()) + " bytes, at most " +
                                       std::to_string(ipc_request_limit) + " are taken"};
  }
  auto const outcome = own->exchange(request, clock::now() + own->time_out);
  auto const milliseconds = own->time_out.count();
  switch (outcome.end) {
    case exchange_end::answered:
      return own->understand(operation, outcome.frame, reply);
    case exchange_end::several_frames:
      spdlog::warn("[{}] {} answered {} with several frames", client_class, own->service, operation);
      return {call_failure::malformed};
    case exchange_end::timed_out:
      spdlog::warn("[{}] {} gave no answer to {} within {} ms", client_class, own->service, operation,
                   milliseconds);
      return {call_failure::timed_out};
    case exchange_end::lost:
      spdlog::warn("[{}] {} ended the connection before it answered {}", client_class, own->service,
                   operation);
      return {call_failure::connection_lost};
    case exchange_end::not_there:
      spdlog::warn("[{}] {} gave no answer to {} within {} ms: it was not there", client_class, own->service,
                   operation, milliseconds);
      return {call_failure::not_reached};
    case exchange_end::closed:
      return {call_failure::closed};
    case exchange_end::unusable:
      break;
  }
  return {call_failure::not_reached};
}

bool request_client::wait_for_service(std::chrono::milliseconds patience) {
  auto const deadline = clock::now() + patience;
  auto const request = ipc::encode_request("ping", nlohmann::json::array());
  auto end = exchange_end::not_there;
  do {
    end = own->exchange(request, std::min(deadline, clock::now() + attempt_time)).end;
  } while (is_worth_repeating(end) && clock::now() < deadline);
  if (is_worth_repeating(end) || end == exchange_end::closed) {
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
