#pragma once

#include <chrono>
#include <cstdint>
#include <deque>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include <boost/asio/any_io_executor.hpp>
#include <boost/asio/awaitable.hpp>
#include <boost/asio/steady_timer.hpp>
#include <nlohmann/json.hpp>

namespace tavi::ocpp_wire {

/// How a call ended.
enum class call_end {
  answered,   ///< with a result
  refused,    ///< with an error, or an answer that cannot be understood
  timed_out,  ///< no answer came in time; one that comes later is dropped
  cut_off,    ///< the connection ended, or was not there at all
};

/// What came of a call.
struct call_outcome {
  call_end end = call_end::cut_off;  ///< how it ended
  nlohmann::json payload;            ///< of the result; null unless `answered`
};

/// The calls of one connection, sent one after another: OCPP-J allows a single one in flight.
///
/// A call waits for its turn, is sent, and ends by its answer, by the time limit, or by `abandon`. Used on
/// the event loop's thread.
class call_queue {
 public:
  /// @param loop        runs the waiting calls
  /// @param time_limit  for an answer, counted from the sending
  /// @param send_frame  takes the text of a frame to be sent
  call_queue(boost::asio::any_io_executor loop, std::chrono::milliseconds time_limit,
             std::function<void(std::string)> send_frame);

  /// Queues a call and waits for its end. The queue has to live until then.
  /// @param action   a literal
  /// @param payload  an object
  /// @return how it ended
  [[nodiscard]] boost::asio::awaitable<call_outcome> call(std::string_view action, nlohmann::json payload);

  /// Takes an answer in. @param id  of the call. @return false when this call is not in flight
  bool on_answer(std::string const& id, call_outcome outcome);

  /// Ends every call, in flight or waiting, as cut off, later ones at once.
  void abandon();

 private:
  struct entry {
    explicit entry(boost::asio::any_io_executor const& executor) : alarm(executor) {}
    std::string id;
    std::string frame;
    boost::asio::steady_timer alarm;  ///< wakes the waiting coroutine: by expiry, or by being cancelled
    std::optional<call_outcome> outcome;
  };

  void send_next();
  void finish_front(call_outcome outcome);

  boost::asio::any_io_executor executor;
  std::chrono::milliseconds limit;
  std::function<void(std::string)> send;
  std::deque<std::shared_ptr<entry>> entries;
  std::uint64_t last_id = 0;
  bool is_abandoned = false;
};

}  // namespace tavi::ocpp_wire
