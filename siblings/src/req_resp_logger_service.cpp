#include "tavi/logger/req_resp_logger_service.h"

#include <condition_variable>
#include <deque>
#include <mutex>
#include <thread>
#include <utility>

#include <spdlog/spdlog.h>

#include "mura_common/ipc_typed.h"

namespace tavi::logger {

namespace {

constexpr char const* const class_name = "req_resp_logger_service";
constexpr char const* const service_name =
    mura_common::ipc_interface<i_req_resp_logger_service_handler>::service;
constexpr std::size_t queue_limit = 10'000;
constexpr std::chrono::seconds pause_after_failure(1);
constexpr std::chrono::milliseconds parting_time(500);

}  // namespace

struct [[gnu::visibility("hidden")]] req_resp_logger_service::members {
  struct entry {
    unsigned int category;
    unsigned int subtype;
    std::string text;
  };

  explicit members(std::chrono::milliseconds limit) : patience(limit) {}

  bool queue(entry added) {
    std::lock_guard const lock(guard);
    if (waiting.size() >= queue_limit) {
      if (!std::exchange(is_overflowing, true)) {
        spdlog::error("[{}] {} entries wait for {}, further ones are lost", class_name, queue_limit,
                      service_name);
      }
      return false;
    }
    is_overflowing = false;
    waiting.push_back(std::move(added));
    if (!sender.joinable()) {
      sender = std::thread([this] { send_all(); });
    }
    changed.notify_all();
    return true;
  }

  void send_all() {
    std::unique_lock lock(guard);
    while (true) {
      changed.wait(lock, [&] { return is_ending || !waiting.empty(); });
      if (is_ending) {
        return;
      }
      // Stays in the queue meanwhile, where nobody else removes it; adding leaves it where it is.
      entry const& first = waiting.front();
      lock.unlock();
      bool const is_done = send(first);
      lock.lock();
      if (is_done) {
        waiting.pop_front();
        changed.notify_all();
      } else {
        changed.wait_for(lock, pause_after_failure, [&] { return is_ending; });
      }
    }
  }

  /// Whether the entry needs no further attempt: what the service refuses once it will refuse again.
  bool send(entry const& sent) {
    auto const answer = mura_common::try_call<&i_req_resp_logger_service_handler::on_functional_log>(
        client, sent.category, sent.subtype, sent.text);
    if (mura_common::has_no_answer(answer.failure)) {
      return false;
    }
    if (!answer.value.value_or(false)) {
      spdlog::warn("[{}] {} did not write an entry of subtype {}", class_name, service_name, sent.subtype);
    }
    return true;
  }

  void end() {
    std::unique_lock lock(guard);
    if (!sender.joinable()) {
      return;
    }
    changed.wait_for(lock, parting_time, [&] { return waiting.empty(); });
    if (!waiting.empty()) {
      spdlog::warn("[{}] {} entries did not reach {}", class_name, waiting.size(), service_name);
    }
    is_ending = true;
    changed.notify_all();
    lock.unlock();
    client.close();
    sender.join();
  }

  std::chrono::milliseconds const patience;
  mura_common::request_client client{service_name};
  std::mutex guard;
  std::condition_variable changed;
  std::deque<entry> waiting;
  bool is_overflowing = false;
  bool is_ending = false;
  std::thread sender;
};

req_resp_logger_service::req_resp_logger_service(std::chrono::milliseconds patience)
    : own(std::make_unique<members>(patience)) {
}

req_resp_logger_service::~req_resp_logger_service() {
  own->end();
}

bool req_resp_logger_service::init(int /*options*/) {
  return own->client.wait_for_service(own->patience);
}

bool req_resp_logger_service::send_functional_log(unsigned int category, log_subtype subtype,
                                                  std::string const& text) {
  return own->queue({category, static_cast<unsigned int>(subtype), text});
}

req_resp_logger_service_handler::req_resp_logger_service_handler(i_req_resp_logger_service_handler& handler)
    : request_server(service_name) {
  mura_common::bind_operations<i_req_resp_logger_service_handler>(*this, handler);
}

}  // namespace tavi::logger
