#pragma once

#include <chrono>
#include <filesystem>
#include <optional>
#include <string>
#include <vector>

#include <nlohmann/json.hpp>
#include <zmq.hpp>

#include "ipc_test.h"

/// A peer that sends whatever it likes, frame by frame.
class raw_peer {
 public:
  raw_peer(zmq::socket_type type, std::filesystem::path const& socket_file) : socket(context, type) {
    socket.set(zmq::sockopt::linger, 0);
    socket.set(zmq::sockopt::rcvtimeo, static_cast<int>(std::chrono::milliseconds(generous).count()));
    socket.connect("ipc://" + socket_file.string());
  }

  void send(std::vector<std::string> const& frames) {
    for (std::size_t at = 0; at < frames.size(); ++at) {
      socket.send(zmq::buffer(frames[at]),
                  at + 1 < frames.size() ? zmq::send_flags::sndmore : zmq::send_flags::none);
    }
  }

  /// The next message's only frame; empty when none came in time or it had several.
  std::optional<std::string> receive() {
    zmq::message_t frame;
    if (!socket.recv(frame) || frame.more()) {
      return std::nullopt;
    }
    return frame.to_string();
  }

  /// All frames of the next message; empty when none came in time.
  std::vector<std::string> receive_all() {
    std::vector<std::string> frames;
    zmq::message_t frame;
    do {
      if (!socket.recv(frame)) {
        return {};
      }
      frames.push_back(frame.to_string());
    } while (frame.more());
    return frames;
  }

  /// Sends a request and gives its reply, null when none came or it is no JSON.
  nlohmann::json ask(std::vector<std::string> const& frames) {
    send(frames);
    return nlohmann::json::parse(receive().value_or("null"), nullptr, false);
  }

 private:
  zmq::context_t context;
  zmq::socket_t socket;
};
