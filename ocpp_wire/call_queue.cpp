#include "call_queue.h"

#include <utility>

#include <boost/asio/redirect_error.hpp>
#include <boost/asio/use_awaitable.hpp>

#include "ocpp_message.h"

namespace tavi::ocpp_wire {

namespace asio = boost::asio;

call_queue::call_queue(asio::any_io_executor loop, std::chrono::milliseconds time_limit,
                       std::function<void(std::string)> send_frame)
    : executor(std::move(loop)), limit(time_limit), send(std::move(send_frame)) {
}

asio::awaitable<call_outcome> call_queue::call(std::string_view action, nlohmann::json payload) {
  if (is_abandoned) {
    co_return call_outcome();
  }
  auto const waiting = std::make_shared<entry>(executor);
  waiting->id = std::to_string(++last_id);
  waiting->frame = encode(ocpp_wire::call{waiting->id, std::string(action), std::move(payload)});
  waiting->alarm.expires_at(asio::steady_timer::time_point::max());
  entries.push_back(waiting);
  if (entries.size() == 1) {
    send_next();
  }
  while (!waiting->outcome) {
    // Being sent moves the expiry, which ends the wait early: then it is taken up again.
    boost::system::error_code error;
    co_await waiting->alarm.async_wait(asio::redirect_error(asio::use_awaitable, error));
    if (!error && !waiting->outcome) {
      finish_front({call_end::timed_out, {}});
    }
  }
  co_return std::move(*waiting->outcome);
}

bool call_queue::on_answer(std::string const& id, call_outcome outcome) {
  if (entries.empty() || entries.front()->id != id) {
    return false;
  }
  finish_front(std::move(outcome));
  return true;
}

void call_queue::abandon() {
  is_abandoned = true;
  for (auto const& waiting : std::exchange(entries, {})) {
    waiting->outcome = call_outcome();
    waiting->alarm.cancel();
  }
}

void call_queue::send_next() {
  auto const next = entries.front();
  next->alarm.expires_after(limit);
  send(next->frame);
}

void call_queue::finish_front(call_outcome outcome) {
  auto const done = entries.front();
  entries.pop_front();
  done->outcome = std::move(outcome);
  done->alarm.cancel();
  if (!entries.empty()) {
    send_next();
  }
}

}  // namespace tavi::ocpp_wire
