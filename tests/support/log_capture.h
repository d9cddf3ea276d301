#pragma once

#include <algorithm>
#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstddef>
#include <memory>
#include <mutex>
#include <ostream>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <spdlog/sinks/base_sink.h>
#include <spdlog/spdlog.h>

/// One line as it was logged.
struct log_line {
  spdlog::level::level_enum level;
  std::string text;

  bool operator==(log_line const&) const = default;
};

inline void PrintTo(log_line const& line, std::ostream* out) {
  *out << '[' << spdlog::level::to_string_view(line.level).data() << "] " << line.text;
}

/// While it lives, the process-wide default logger writes into it, at every level, instead of to the
/// terminal.
class log_capture {
 public:
  log_capture() : previous(spdlog::default_logger()), sink(std::make_shared<memory_sink>()) {
    auto logger = std::make_shared<spdlog::logger>("captured", sink);
    logger->set_level(spdlog::level::trace);
    spdlog::set_default_logger(std::move(logger));
  }
  ~log_capture() { spdlog::set_default_logger(previous); }
  log_capture(log_capture const&) = delete;
  log_capture& operator=(log_capture const&) = delete;

  /// Every line since the beginning or the last `clear`, in order.
  [[nodiscard]] std::vector<log_line> lines() const { return sink->lines(); }

  /// Whether some line holds `part` at this level.
  [[nodiscard]] bool holds(spdlog::level::level_enum level, std::string const& part) const {
    auto const all = lines();
    return std::any_of(all.begin(), all.end(), [&](log_line const& line) {
      return line.level == level && line.text.find(part) != std::string::npos;
    });
  }

  /// Waits until `holds`. @return whether it did within `patience`
  [[nodiscard]] bool wait_for(spdlog::level::level_enum level, std::string const& part,
                              std::chrono::milliseconds patience) const {
    return sink->wait([&] { return holds(level, part); }, patience);
  }

  /// Forgets what was logged so far.
  void clear() { sink->clear(); }

 private:
  class memory_sink : public spdlog::sinks::base_sink<std::mutex> {
   public:
    [[nodiscard]] std::vector<log_line> lines() {
      std::lock_guard const lock(this->mutex_);
      return kept;
    }
    void clear() {
      std::lock_guard const lock(this->mutex_);
      kept.clear();
    }
    template <typename Condition>
    [[nodiscard]] bool wait(Condition is_met, std::chrono::milliseconds patience) {
      auto const deadline = std::chrono::steady_clock::now() + patience;
      while (true) {
        auto const seen = arrivals.load();
        if (is_met()) {
          return true;
        }
        std::unique_lock lock(arrival);
        if (!arrived.wait_until(lock, deadline, [&] { return arrivals != seen; })) {
          return false;
        }
      }
    }

   protected:
    void sink_it_(spdlog::details::log_msg const& message) override {
      kept.push_back({message.level, std::string(message.payload.data(), message.payload.size())});
      {
        std::lock_guard const lock(arrival);
        ++arrivals;
      }
      arrived.notify_all();
    }
    void flush_() override {}

   private:
    std::vector<log_line> kept;
    std::mutex arrival;
    std::condition_variable arrived;
    std::atomic<std::size_t> arrivals = 0;
  };

  std::shared_ptr<spdlog::logger> previous;
  std::shared_ptr<memory_sink> sink;
};
