#pragma once

#include <atomic>
#include <chrono>
#include <future>
#include <memory>
#include <string>
#include <utility>

#include <spdlog/sinks/sink.h>
#include <spdlog/spdlog.h>

/// While it lives, the first thread that logs a certain line is held up in it until told to go on; everything
/// reaches the log all the same. Made before any other thread logs, and ended after the last one does.
class held_line {
 public:
  /// @param part  of the line
  explicit held_line(std::string part)
      : previous(spdlog::default_logger()),
        sink(std::make_shared<holding_sink>(std::move(part), previous->sinks().front())) {
    auto logger = std::make_shared<spdlog::logger>("held", sink);
    logger->set_level(spdlog::level::trace);
    spdlog::set_default_logger(std::move(logger));
  }
  ~held_line() { spdlog::set_default_logger(previous); }
  held_line(held_line const&) = delete;
  held_line& operator=(held_line const&) = delete;

  /// Waits until somebody is held up. @return whether this came about within `patience`
  [[nodiscard]] bool wait_for_arrival(std::chrono::milliseconds patience) {
    return arrived.wait_for(patience) == std::future_status::ready;
  }
  /// Lets go whoever is held up, and holds nobody up any more.
  void open() const { sink->opening.set_value(); }

 private:
  class holding_sink : public spdlog::sinks::sink {
   public:
    holding_sink(std::string wanted, spdlog::sink_ptr behind)
        : part(std::move(wanted)), next(std::move(behind)) {}
    void log(spdlog::details::log_msg const& message) override {
      next->log(message);
      std::string const text(message.payload.data(), message.payload.size());
      if (text.find(part) != std::string::npos && !has_held.exchange(true)) {
        arrival.set_value();
        opening.get_future().wait();
      }
    }
    void flush() override {}
    void set_pattern(std::string const& /*pattern*/) override {}
    void set_formatter(std::unique_ptr<spdlog::formatter> /*formatter*/) override {}

    std::promise<void> arrival;
    std::promise<void> opening;

   private:
    std::string const part;
    spdlog::sink_ptr const next;
    std::atomic<bool> has_held = false;
  };

  std::shared_ptr<spdlog::logger> previous;
  std::shared_ptr<holding_sink> sink;
  std::future<void> arrived = sink->arrival.get_future();
};
