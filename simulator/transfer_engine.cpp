#include "transfer_engine.h"

#include <array>
#include <chrono>
#include <utility>

#include <boost/asio/execution/context.hpp>
#include <boost/asio/posix/stream_descriptor.hpp>
#include <boost/asio/query.hpp>

namespace tavi::simulator {

namespace asio = boost::asio;
using boost::system::error_code;

namespace {

CURLM* open_library() {
  // Once in a process, before anything else.
  static auto const is_ready = curl_global_init(CURL_GLOBAL_DEFAULT) == CURLE_OK;
  return is_ready ? curl_multi_init() : nullptr;
}

}  // namespace

/// A socket of the library, which opens and closes it.
struct transfer_engine::watch {
  watch(asio::io_context& loop, curl_socket_t socket) : descriptor(loop, socket) {}
  ~watch() { descriptor.release(); }
  watch(watch const&) = delete;
  watch& operator=(watch const&) = delete;

  asio::posix::stream_descriptor descriptor;
  std::array<bool, 2> is_wanted{};   ///< for reading, for writing
  std::array<bool, 2> is_awaited{};  ///< for reading, for writing
};

asio::execution_context::id transfer_engine::id;

transfer_engine& transfer_engine::find(asio::any_io_executor const& executor) {
  return asio::use_service<transfer_engine>(asio::query(executor, asio::execution::context));
}

transfer_engine::transfer_engine(asio::execution_context& context)
    : service(context), loop(static_cast<asio::io_context&>(context)), alarm(loop), library(open_library()) {
  curl_multi_setopt(library, CURLMOPT_SOCKETFUNCTION, on_socket);
  curl_multi_setopt(library, CURLMOPT_SOCKETDATA, this);
  curl_multi_setopt(library, CURLMOPT_TIMERFUNCTION, on_time);
  curl_multi_setopt(library, CURLMOPT_TIMERDATA, this);
}

transfer_engine::~transfer_engine() = default;

void transfer_engine::shutdown() {
  for (auto const& [transfer, on_end] : std::exchange(running, {})) {
    curl_multi_remove_handle(library, transfer);
  }
  curl_multi_cleanup(std::exchange(library, nullptr));
  watched.clear();
}

void transfer_engine::start(CURL* transfer, std::function<void(CURLcode)> on_end) {
  running[transfer] = std::move(on_end);
  curl_multi_add_handle(library, transfer);
}

void transfer_engine::stop(CURL* transfer) {
  if (running.erase(transfer) > 0) {
    curl_multi_remove_handle(library, transfer);
  }
}

int transfer_engine::on_socket(CURL*, curl_socket_t socket, int wanted, void* engine, void*) {
  auto& self = *static_cast<transfer_engine*>(engine);
  if (wanted == CURL_POLL_REMOVE) {
    if (auto const closing = self.watched.extract(socket)) {
      // At once, though a wait may still hold it: the next socket can have the same number.
      closing.mapped()->descriptor.release();
    }
    return 0;
  }
  auto& followed = self.watched[socket];
  if (!followed) {
    followed = std::make_shared<watch>(self.loop, socket);
  }
  followed->is_wanted = {(wanted & CURL_POLL_IN) != 0, (wanted & CURL_POLL_OUT) != 0};
  self.follow(socket, followed, false);
  self.follow(socket, followed, true);
  return 0;
}

void transfer_engine::follow(curl_socket_t socket, std::shared_ptr<watch> const& followed, bool is_writing) {
  auto const way = is_writing ? 1U : 0U;
  if (!followed->is_wanted[way] || std::exchange(followed->is_awaited[way], true)) {
    return;
  }
  using asio::posix::stream_descriptor;
  // Weak, because a socket that the library closes is not waited for any more.
  followed->descriptor.async_wait(
      is_writing ? stream_descriptor::wait_write : stream_descriptor::wait_read,
      [this, socket, is_writing, way, weak = std::weak_ptr<watch>(followed)](error_code error) {
        auto const ready = weak.lock();
        if (error || !ready) {
          return;
        }
        ready->is_awaited[way] = false;
        if (ready->is_wanted[way]) {
          act(socket);
          if (auto const still = watched.find(socket); still != watched.end() && still->second == ready) {
            follow(socket, ready, is_writing);
          }
        }
      });
}

int transfer_engine::on_time(CURLM*, long milliseconds, void* engine) {
  auto& self = *static_cast<transfer_engine*>(engine);
  self.alarm.cancel();
  if (milliseconds >= 0) {
    self.alarm.expires_after(std::chrono::milliseconds(milliseconds));
    self.alarm.async_wait([&self](error_code error) {
      if (!error) {
        self.act(CURL_SOCKET_TIMEOUT);
      }
    });
  }
  return 0;
}

void transfer_engine::act(curl_socket_t socket) {
  int still_running = 0;
  // Without saying for what it is ready, so that the library looks itself: an answer that has come is read
  // before a connection that takes no more is given up.
  curl_multi_socket_action(library, socket, 0, &still_running);
  int left = 0;
  while (auto const* message = curl_multi_info_read(library, &left)) {
    auto const result = message->data.result;
    auto* const transfer = message->easy_handle;
    auto const found = running.extract(transfer);
    curl_multi_remove_handle(library, transfer);
    if (found) {
      found.mapped()(result);
    }
  }
}

}  // namespace tavi::simulator
