#pragma once

#include <chrono>
#include <cstddef>
#include <filesystem>
#include <functional>
#include <memory>
#include <string>

#include "tavi/logger/req_resp_logger_service.h"

namespace tavi::site::event_log {

/// One entry as a line of the event log, without its end: JSON with time, category, subtype and text.
/// @param text  any bytes; what is no UTF-8 is replaced
[[nodiscard]] std::string format_event(std::chrono::system_clock::time_point moment, unsigned int category,
                                       unsigned int subtype, std::string const& text);

/// The logger service of a site: keeps functional-log entries, one line each, in files of limited size.
///
/// The newest entries are in events.jsonl, older ones in events.1.jsonl and so on; the oldest file is
/// forgotten when a new one is begun. Each line has left the process when it was acknowledged. Safe to call
/// from any thread once started.
class event_log : public tavi::logger::i_req_resp_logger_service_handler {
 public:
  /// Gives the time that entries bear.
  using clock = std::function<std::chrono::system_clock::time_point()>;
  /// Told of each entry once it is written, on the thread that it came on.
  using observer = std::function<void(unsigned int category, unsigned int subtype, std::string const& text)>;

  /// Only stores its arguments.
  /// @param folder      of the files; made when it is missing
  /// @param file_bytes  after how many bytes a new file is begun, above 0
  /// @param files       how many older files are kept, from 0
  /// @param told        see `observer`; nobody when empty
  /// @param now         see `clock`
  event_log(std::filesystem::path folder, std::size_t file_bytes, std::size_t files, observer told,
            clock now = std::chrono::system_clock::now);
  ~event_log() override;

  /// Opens the log. @return false, with one line in the log, when the folder or the file cannot be used
  [[nodiscard]] bool start();

  /// Writes one entry.
  /// @return whether it was written; when false a line in the log says why
  bool on_functional_log(unsigned int const& category, unsigned int const& subtype,
                         std::string const& text) override;

 private:
  struct members;
  std::unique_ptr<members> own;
};

}  // namespace tavi::site::event_log
