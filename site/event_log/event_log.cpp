#include "event_log/event_log.h"

#include <mutex>
#include <system_error>
#include <utility>

#include <nlohmann/json.hpp>
#include <spdlog/sinks/rotating_file_sink.h>
#include <spdlog/spdlog.h>

#include "date_time.h"

namespace tavi::site::event_log {

std::string format_event(std::chrono::system_clock::time_point moment, unsigned int category,
                         unsigned int subtype, std::string const& text) {
  nlohmann::ordered_json const entry = {{"time", ocpp_wire::to_utc_iso8601(moment)},
                                        {"category", category},
                                        {"subtype", subtype},
                                        {"text", text}};
  return entry.dump(-1, ' ', false, nlohmann::ordered_json::error_handler_t::replace);
}

struct event_log::members {
  std::filesystem::path folder;
  std::size_t file_bytes;
  std::size_t files;
  observer told;
  clock now;
  std::mutex guard;  // a failure is to be told to him whose entry it was
  std::shared_ptr<spdlog::logger> lines;
  std::string failure;
};

event_log::event_log(std::filesystem::path folder, std::size_t file_bytes, std::size_t files, observer told,
                     clock now)
    : own(new members{
          std::move(folder), file_bytes, files, std::move(told), std::move(now), {}, nullptr, {}}) {
}

event_log::~event_log() = default;

bool event_log::start() {
  std::error_code error;
  std::filesystem::create_directories(own->folder, error);
  if (error) {
    spdlog::error("[event_log] folder {} cannot be made: {}", own->folder.string(), error.message());
    return false;
  }
  try {
    auto sink = std::make_shared<spdlog::sinks::rotating_file_sink_st>(
        (own->folder / "events.jsonl").string(), own->file_bytes, own->files);
    own->lines = std::make_shared<spdlog::logger>("event_log", std::move(sink));
  } catch (spdlog::spdlog_ex const& failure) {
    spdlog::error("[event_log] the log cannot be opened: {}", failure.what());
    return false;
  }
  own->lines->set_pattern("%v");
  own->lines->set_level(spdlog::level::trace);
  own->lines->flush_on(spdlog::level::trace);
  own->lines->set_error_handler([this](std::string const& reason) { own->failure = reason; });
  return true;
}

bool event_log::on_functional_log(unsigned int const& category, unsigned int const& subtype,
                                  std::string const& text) {
  std::lock_guard const lock(own->guard);
  own->failure.clear();
  own->lines->log(spdlog::level::info,
                  spdlog::string_view_t(format_event(own->now(), category, subtype, text)));
  if (!own->failure.empty()) {
    spdlog::error("[event_log] an entry of category {} is lost: {}", category, own->failure);
  } else if (own->told) {
    own->told(category, subtype, text);
  }
  return own->failure.empty();
}

}  // namespace tavi::site::event_log
