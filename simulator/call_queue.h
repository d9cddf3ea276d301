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

namespace tavi::simulator {

/// How a call of the station ended.
enum class call_outcome {
  answered,   ///< with a CALLRESULT
  refused,    ///< with a CALLERROR
  timed_out,  ///< not answered in time; an answer that comes later is dropped
  lost,       ///< the connection went away before an answer came
};

/// What came back for a call.
struct call_answer {
  call_outcome outcome = call_outcome::lost;  ///< how it ended
  nlohmann::json payload;                     ///< of the CALLRESULT; null otherwise
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
  [[nodiscard]] boost::asio::awaitable<call_answer> call(std::string_view action, nlohmann::json payload);

  /// Takes an answer in. @param id  of the call. @return false when this call is not in flight
  bool on_answer(std::string const& id, call_answer answer);

  /// Ends every call, in flight or waiting, as lost; later ones are lost at once.
  void abandon();

 private:
  struct entry {
    explicit entry(boost::asio::any_io_executor const& executor) : alarm(executor) {}
    std::string id;
    std::string frame;
    boost::asio::steady_timer alarm;  ///< wakes the waiting coroutine: by expiry, or by being cancelled
    std::optional<call_answer> answer;
  };

  void send_next();
  void finish_front(call_answer answer);

  boost::asio::any_io_executor executor;
  std::chrono::milliseconds limit;
  std::function<void(std::string)> send;
  std::deque<std::shared_ptr<entry>> entries;
  std::uint64_t last_id = 0;
  bool is_abandoned = false;
};

}  // namespace tavi::simulator
