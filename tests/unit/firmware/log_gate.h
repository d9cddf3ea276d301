#pragma once

#include <chrono>
#include <future>
#include <memory>
#include <mutex>

#include <spdlog/sinks/base_sink.h>
#include <spdlog/spdlog.h>

/// While it lives, the first thread that logs a line is held up in it until the gate is opened.
///
/// Whoever was held up must have returned before the gate goes; nobody else may log before it is open.
class log_gate {
 public:
  log_gate() : previous(spdlog::default_logger()), sink(std::make_shared<holding_sink>()) {
    spdlog::set_default_logger(std::make_shared<spdlog::logger>("gate", sink));
  }
  ~log_gate() { spdlog::set_default_logger(previous); }
  log_gate(log_gate const&) = delete;
  log_gate& operator=(log_gate const&) = delete;

  /// Waits until somebody is held up. @return whether this came about within `patience`
  [[nodiscard]] bool wait_for_arrival(std::chrono::seconds patience) const {
    return sink->arrival.get_future().wait_for(patience) == std::future_status::ready;
  }
  /// Lets go whoever is held up, and holds nobody up any more.
  void open() const { sink->opening.set_value(); }

 private:
  class holding_sink : public spdlog::sinks::base_sink<std::mutex> {
   public:
    std::promise<void> arrival;
    std::promise<void> opening;

   protected:
    void sink_it_(spdlog::details::log_msg const& /*message*/) override {
      if (!has_held) {
        has_held = true;
        arrival.set_value();
        opening.get_future().wait();
      }
    }
    void flush_() override {}

   private:
    bool has_held = false;
  };

  std::shared_ptr<spdlog::logger> previous;
  std::shared_ptr<holding_sink> sink;
};
