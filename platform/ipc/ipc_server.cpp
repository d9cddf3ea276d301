#include <algorithm>
#include <exception>
#include <iterator>
#include <map>
#include <mutex>
#include <optional>
#include <string_view>
#include <thread>
#include <utility>
#include <variant>
#include <vector>

#include <nlohmann/json.hpp>
#include <spdlog/spdlog.h>
#include <zmq_addon.hpp>

#include "ipc/ipc_context.h"
#include "ipc/ipc_endpoint.h"
#include "ipc/ipc_message.h"
#include "ipc/ipc_order.h"
#include "mura_common/delivery.h"
#include "mura_common/ipc.h"
#include "mura_common/ipc_codec.h"

namespace mura_common {

namespace {

constexpr char const* const server_class = "request_server";
/// Answered by every server, beside the service's own operations and without waiting for its turn.
constexpr std::string_view ping = "ping";
/// Above `ipc_request_limit`, so that a request which is only somewhat too large still gets its error reply.
constexpr int hard_request_limit = 16 * 1024 * 1024;

using frame_list = std::vector<zmq::message_t>;

}  // namespace

struct request_server::members {
  explicit members(std::string name) : service(std::move(name)), lane(delivery_lane_of(service)) {}

  void run() {
    while (true) {
      try {
        if (ipc::wait_for_message(socket, stopping) == ipc::wake_reason::stopped) {
          return;
        }
        take_and_answer();
      } catch (std::exception const& error) {
        spdlog::error("[{}] {}: cannot read or answer a request: {}", server_class, service, error.what());
      }
    }
  }

  void take_and_answer() {
    frame_list frames;
    if (!zmq::recv_multipart(socket, std::back_inserter(frames), zmq::recv_flags::dontwait)) {
      return;  // ZeroMQ announces a stranger's bytes before it has found out that they are no message
    }
    ipc::note_receiving();
    auto const request = end_of_envelope(frames);
    if (request == frames.end()) {
      spdlog::warn("[{}] {}: passed over a message without the envelope of a request", server_class, service);
      return;
    }
    auto const reply = std::next(request) == frames.end()
                           ? answer(request->to_string_view())
                           : refuse({ipc::bad_request, "a request is one frame, this one has several"});
    frames.erase(request, frames.end());
    frames.emplace_back(reply);
    ipc::note_sending();
    static_cast<void>(zmq::send_multipart(socket, frames, zmq::send_flags::dontwait));
  }

  /// Before a request stand ZeroMQ's name for the sender, whatever leads the reply further on from there, and
  /// an empty frame; all of it goes before the reply too.
  /// @return where the request begins; the end when there is none
  static frame_list::iterator end_of_envelope(frame_list& frames) {
    auto const separator = std::find_if(std::next(frames.begin()), frames.end(),
                                        [](zmq::message_t const& frame) { return frame.empty(); });
    return separator == frames.end() ? separator : std::next(separator);
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
      spdlog::error("[{}] {}: exception out of {}: {}", server_class, service, request.operation, what);
      return ipc::encode_refusal({ipc::failed, "the operation failed"});
    };
    try {
      nlohmann::json body;
      {
        std::lock_guard const turn(*lane);
        body = handler(request.arguments);
      }
      return sendable(ipc::encode_reply(body), request.operation);
    } catch (malformed_value const& error) {
      return refuse({ipc::bad_request, request.operation + ": " + error.what()});
    } catch (std::exception const& error) {
      return problem_in(error.what());
    } catch (...) {
      return problem_in("of an unknown type");
    }
  }

  /// A reply above the limit would only end the client's connection and leave the client waiting.
  std::string sendable(std::string reply, std::string const& operation) const {
    if (reply.size() <= std::size_t{ipc::message_limit}) {
      return reply;
    }
    spdlog::error("[{}] {}: the reply to {} has {} bytes, at most {} can be sent", server_class, service,
                  operation, reply.size(), ipc::message_limit);
    return ipc::encode_refusal({ipc::failed, "the reply is too large"});
  }

  std::string refuse(ipc::refusal const& refusal) const {
    spdlog::warn("[{}] {}: refused a request with {}: {}", server_class, service, refusal.code, refusal.text);
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
  own->place = ipc::endpoint::claim(file, server_class);
  if (!own->place) {
    return false;
  }
  try {
    own->context = ipc::shared_context();
    // Not a REP socket: from one, the reply to the next client may be lost after a stranger's bytes.
    own->socket =
        ipc::listening_socket(*own->context, zmq::socket_type::router, *own->place, file, hard_request_limit);
    own->stopping.lower();
    own->thread = std::thread([members = own.get()] { members->run(); });
    return true;
  } catch (std::exception const& error) {
    spdlog::error("[{}] cannot serve at {}: {}", server_class, file.string(), error.what());
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
