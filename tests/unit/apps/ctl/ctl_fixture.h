#pragma once

#include <signal.h>

#include <atomic>
#include <chrono>
#include <functional>
#include <optional>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "commands/commands.h"
#include "ipc_test.h"
#include "mock_stations_maintenance_handler.h"
#include "stations_maintenance/req_resp_stations_maintenance_service_handler.h"

/// A console that keeps what is written and answers as it was told.
class fake_console : public tavi::ctl::i_console {
 public:
  bool write(std::string_view text) override {
    output += text;
    return is_writable;
  }
  [[nodiscard]] bool has_reader() const override { return is_read; }
  void complain(std::string_view line) override { complaints.emplace_back(line); }
  void show_progress(std::string_view line) override { progress.emplace_back(line); }
  [[nodiscard]] std::size_t progress_columns() const override { return columns; }
  [[nodiscard]] tavi::ctl::table_style style() const override { return layout; }
  [[nodiscard]] bool can_ask() const override { return answer.has_value(); }
  [[nodiscard]] bool ask(std::string_view question) override {
    questions.emplace_back(question);
    return answer.value();
  }

  std::string output;
  std::vector<std::string> complaints;
  std::vector<std::string> progress;
  std::vector<std::string> questions;
  tavi::ctl::table_style layout;
  std::size_t columns = 79;    ///< of the progress
  std::optional<bool> answer;  ///< to every question; nobody is there to be asked when empty
  bool is_writable = true;
  bool is_read = true;
};

/// A clock that stands still but for `wait`, which takes no time.
class manual_clock : public tavi::ctl::i_clock {
 public:
  [[nodiscard]] std::chrono::system_clock::time_point now() const override {
    return std::chrono::system_clock::time_point(std::chrono::seconds(1795179909)) + passed.load();
  }
  [[nodiscard]] std::chrono::steady_clock::time_point steady_now() const override {
    return std::chrono::steady_clock::time_point(passed.load());
  }
  bool wait(std::chrono::milliseconds time) override {
    passed = passed.load() + time;
    ++waits;
    on_wait(waits);
    return is_raised;
  }
  void take_over_interruption(char const* text) override {
    is_taken_over = true;
    notice = text == nullptr ? "" : text;
  }
  [[nodiscard]] int interrupting_signal() const override { return is_raised ? signal_number : 0; }

  std::atomic<std::chrono::milliseconds> passed{std::chrono::milliseconds(0)};  ///< read on threads of events
  int waits = 0;
  std::atomic<bool> is_raised = false;  ///< may be raised on the threads of the service
  int signal_number = SIGINT;
  bool is_taken_over = false;
  std::string notice;
  std::function<void(int)> on_wait = [](int) {};  ///< called with the number of each wait
};

/// An uploader that keeps what it was given and gives what it was told.
class fake_uploader : public tavi::ctl::i_uploader {
 public:
  tavi::ctl::upload_outcome upload(std::filesystem::path const& file, std::string const& url,
                                   observer const& observe) override {
    files.push_back(file);
    urls.push_back(url);
    on_upload();
    for (auto const& state : states) {
      if (!observe(state) && observed) {
        return {tavi::ctl::upload_end::aborted, 0, ""};
      }
    }
    return outcome;
  }

  tavi::ctl::upload_outcome outcome{tavi::ctl::upload_end::answered, 201, "file received"};
  std::vector<std::filesystem::path> files;
  std::vector<std::string> urls;
  std::vector<tavi::ctl::upload_state> states{{1, 2, std::chrono::seconds(1)}};  ///< that are told
  bool observed = true;                     ///< whether the upload ends when its observer wants it
  std::function<void()> on_upload = [] {};  ///< called when an upload begins
};

/// A command against a service whose answers the test decides, over real messages.
class ctl_test : public ipc_test {
 protected:
  using report = tavi::stations_maintenance::diagnostic_report_info;
  using report_type = tavi::stations_maintenance::diagnostic_report_type;
  using firmware = tavi::stations_maintenance::station_firmware_info;
  using firmware_status = tavi::stations_maintenance::station_firmware_status;
  using configuration = tavi::stations_maintenance::stations_maintenance_configuration;
  using exit_code = tavi::ctl::exit_code;

  void SetUp() override {
    // Asked for each firmware that is shown; without an answer its path stays as it was listed.
    EXPECT_CALL(handler, on_get_firmware_file).Times(testing::AnyNumber());
    ASSERT_TRUE(server.start());
  }
  void TearDown() override { server.stop(); }

  static constexpr std::int64_t now = 1795179909;

  static report report_of(std::uint32_t id, std::uint32_t station, std::int64_t age = 0,
                          report_type type = report_type::manual, std::uint32_t size = 1000) {
    return {id, station, "log_" + std::to_string(id) + ".tar.gz", now - age, type, size};
  }

  /// What the command wrote, as JSON. @return a discarded value when it is none
  [[nodiscard]] tavi::ctl::json document() const {
    return tavi::ctl::json::parse(console.output, nullptr, false);
  }

  ::testing::StrictMock<mock_stations_maintenance_handler> handler;
  tavi::stations_maintenance::req_resp_stations_maintenance_service_handler server{handler};
  fake_console console;
  manual_clock clock;
  fake_uploader uploader;
  tavi::stations_maintenance::req_resp_stations_maintenance_service service{
      {generous, std::chrono::milliseconds(generous), std::chrono::milliseconds(generous)}};
  tavi::ctl::command_context context{console, clock, uploader, service, false};
};
