#pragma once

#include <stdlib.h>

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <future>
#include <mutex>
#include <nlohmann/json.hpp>
#include <optional>
#include <string>
#include <vector>
#include <zmq.hpp>

#include "log_capture.h"
#include "temporary_folder.h"

/// Longer than anything takes that works, on a loaded machine too.
inline constexpr std::chrono::seconds generous(30);

/// A run-time folder of its own for one test, and the log of what happens there.
class ipc_test : public testing::Test {
 protected:
  ipc_test() { setenv("TAVI_RUNTIME_DIR", folder.path().c_str(), 1); }
  ~ipc_test() override { unsetenv("TAVI_RUNTIME_DIR"); }

  /// Where a socket of the folder lies. @param name  such as "echo.req"
  [[nodiscard]] std::filesystem::path socket(std::string const& name) const { return folder.path() / name; }

  temporary_folder folder;
  log_capture log;
};

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

  /// Sends a request and gives its reply, null when none came or it is no JSON.
  nlohmann::json ask(std::vector<std::string> const& frames) {
    send(frames);
    return nlohmann::json::parse(receive().value_or("null"), nullptr, false);
  }

 private:
  zmq::context_t context;
  zmq::socket_t socket;
};

/// A door that threads wait at until it is opened.
class gate {
 public:
  void open() {
    std::lock_guard const lock(guard);
    is_open = true;
    changed.notify_all();
  }
  /// @return whether it was open in time
  bool pass() {
    std::unique_lock lock(guard);
    return changed.wait_for(lock, generous, [&] { return is_open; });
  }

 private:
  std::mutex guard;
  std::condition_variable changed;
  bool is_open = false;
};

/// Collects what threads bring and lets the test wait for it.
template <typename T>
class collector {
 public:
  void add(T value) {
    std::lock_guard const lock(guard);
    values.push_back(std::move(value));
    changed.notify_all();
  }
  /// Everything so far, once there are `count`; fewer when they did not come within the limit.
  std::vector<T> wait_for(std::size_t count, std::chrono::milliseconds limit = generous) {
    std::unique_lock lock(guard);
    changed.wait_for(lock, limit, [&] { return values.size() >= count; });
    return values;
  }
  void clear() {
    std::lock_guard const lock(guard);
    values.clear();
  }

 private:
  std::mutex guard;
  std::condition_variable changed;
  std::vector<T> values;
};
